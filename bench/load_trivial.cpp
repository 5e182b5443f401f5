// A program that needs it.
extern "C" __declspec(dllimport) int Trivial(int number);

int main() { return Trivial(0); }
