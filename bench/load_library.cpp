// The same with the library.
#include "instalib/string.h"

int main(int count, char** arguments) { return CString(arguments[0]).GetLength() < 0 ? count : 0; }
