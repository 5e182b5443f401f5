// A process that reads one value of a machine's registry: load_first_read MACHINE KEY [memory]. Prints the megabytes
// that no other process shares when it is asked to.
#include <cstdlib>

#include "bench/private_memory.h"
#include "platform/handles.h"

int main(int count, char** arguments) {
    if (count < 3) return 2;
    setenv("INSTALIB_MACHINE", arguments[1], 1);
    char text[64];
    DWORD size = sizeof text;
    RegistryKey opened;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, arguments[2], 0, KEY_READ, opened.Receive()) != 0) return 1;
    if (RegQueryValueExA(opened.Get(), "Value0", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) != 0) return 1;
    if (count > 3) std::printf("%.3f", PrivateMemory());
    return 0;
}
