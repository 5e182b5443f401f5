#include "kvsetup/setup_marks.h"

#include "instalib/registry.h"

namespace marks {
namespace {

constexpr char kKey[] = "Setup";
constexpr DWORD kText = 1;  // REG_SZ

}  // namespace

bool Set(const char* name, const std::string& text) {
    std::string data = text;
    return CHalvRegistry::AddKorvaultKey(kKey) &&
           CHalvRegistry::SetKorvaultKeyValue(kKey, name, kText, reinterpret_cast<BYTE*>(data.data()),
                                              static_cast<DWORD>(data.size() + 1));
}

std::string Get(const char* name) {
    char data[261] = "";
    DWORD size = sizeof data - 1;
    DWORD type = 0;
    const int found =
        CHalvRegistry::QueryKorvaultKeyValue(kKey, name, &type, reinterpret_cast<BYTE*>(data), &size, nullptr);
    return found && type == kText ? data : "";
}

void RemoveAll() { CHalvRegistry::DeleteKorvaultKey(kKey); }

}  // namespace marks
