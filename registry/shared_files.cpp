// Counts of shared libraries' users, and the path of the database agent's RPC service.
#include "registry/family_keys.h"

using namespace registry;

namespace {

constexpr char kRpcServiceKey[] = "SYSTEM\\CurrentControlSet\\Services\\DbaRpcService";
constexpr char kImagePath[] = "ImagePath";

}  // namespace

int CHalvRegistry::IncrementSharedDLLCount(const char* path, int keepExisting) {
    RegistryKey key;
    if (!Report(Open(HKEY_LOCAL_MACHINE, m_sSharedDLLKey, KEY_ALL_ACCESS, key))) return 0;
    DWORD count = 0;
    const LSTATUS status = ReadNumber(key.Get(), path, &count);
    // A count that is there but cannot be read is not started over: other products rely on it.
    if (status != 0 && status != ERROR_FILE_NOT_FOUND) return Report(status);
    if (status == ERROR_FILE_NOT_FOUND || keepExisting == 0) ++count;
    return Report(SetValue(key.Get(), path, count));
}

DWORD CHalvRegistry::DecrementSharedDLLCount(const char* path) {
    RegistryKey key;
    DWORD count = 0;
    if (!Report(Open(HKEY_LOCAL_MACHINE, m_sSharedDLLKey, KEY_ALL_ACCESS, key))) return 0;
    if (!Report(ReadNumber(key.Get(), path, &count))) return 0;
    if (count > 1) return Report(SetValue(key.Get(), path, count - 1)) ? count - 1 : 0;
    Report(RegDeleteValueA(key.Get(), path));
    return 0;
}

void CHalvRegistry::UpdateRPCImagePath(CString imagePath) {
    RegistryKey key;
    if (!Report(Open(HKEY_LOCAL_MACHINE, kRpcServiceKey, KEY_ALL_ACCESS, key))) return;
    char stored[MAX_PATH + 1] = "";
    if (ReadText(key.Get(), kImagePath, stored) == 0 && _stricmp(stored, imagePath) == 0) return;
    if (_access(imagePath, 0) != 0) return;
    Report(SetUnterminated(key.Get(), kImagePath, REG_EXPAND_SZ, imagePath));
}
