// MSIEXEC.EXE of the embedded machine, as far as an upgrade needs it: "MSIEXEC /x CODE /qn" removes the root key that
// the product's uninstall entry names in "RegistryRoot", and then the entry. 1605 is the Windows Installer's code for a
// product that it does not know; the host hands on its low eight bits.
#include <cstring>
#include <string>

#include "instalib/registry.h"
#include "platform/handles.h"

namespace {

constexpr char kPrograms[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

void RemoveTree(const std::string& path) {
    CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, path.c_str());
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str());
}

int Remove(const std::string& code) {
    constexpr int kUnknownProduct = 1605;
    const std::string entry = std::string(kPrograms) + "\\" + code;
    char root[512] = "";
    DWORD size = sizeof root - 1;
    {
        RegistryKey key;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, entry.c_str(), 0, KEY_READ, key.Receive()) != 0) return kUnknownProduct;
        RegQueryValueExA(key.Get(), "RegistryRoot", nullptr, nullptr, reinterpret_cast<BYTE*>(root), &size);
    }
    Sleep(500);  // a removal takes its time; the caller shows that it waits
    if (*root != '\0') RemoveTree(root);
    RemoveTree(entry);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int kInvalidCommandLine = 1639;
    if (argc < 3 || std::strcmp(argv[1], "/x") != 0 || *argv[2] == '\0') return kInvalidCommandLine;
    return Remove(argv[2]);
}
