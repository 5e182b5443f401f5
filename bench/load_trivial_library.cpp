// A DLL that holds next to nothing.
extern "C" __declspec(dllexport) int Trivial(int number) { return number; }
