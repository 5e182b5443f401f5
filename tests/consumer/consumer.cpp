#include <instalib.h>

#if __cplusplus >= 202002L
#error This is to be compiled as C++17.
#endif

// An exception of the library goes through code of another standard, and the one of a lack of memory stays usable.
int main() {
    int caught = 0;
    for (int i = 0; i < 2; ++i) {
        try {
            AfxThrowMemoryException();
        } catch (CMemoryException* exception) {
            char text[80] = "";
            caught += exception->GetErrorMessage(text, sizeof text) != 0 && text[0] != '\0';
            delete exception;
        }
    }
    return caught == 2 && CString("x") == "x" && *CComputer().Name() != '\0' ? 0 : 1;
}
