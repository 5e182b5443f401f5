// What every C++ program loads.
#include <string>

int main(int count, char** arguments) { return std::string(arguments[0]).size() == std::string::npos ? count : 0; }
