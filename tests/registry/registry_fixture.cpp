#include "tests/registry/registry_fixture.h"

#include <algorithm>

namespace {

std::string Content(DWORD type, const BYTE* data, DWORD size) {
    if (type == REG_DWORD) return std::to_string(*reinterpret_cast<const DWORD*>(data));
    return reinterpret_cast<const char*>(data) + std::string(size == 0 || data[size - 1] != 0 ? "?" : "");
}

void ListInto(HKEY root, const std::string& path, const std::string& relative, Lines& lines) {
    RegistryKey key;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, key.Receive()) != 0) return;
    const std::ptrdiff_t values = std::ssize(lines);
    for (DWORD index = 0;; ++index) {
        char name[256] = "";
        alignas(DWORD) BYTE data[512] = {};
        DWORD nameSize = sizeof name;
        DWORD size = sizeof data - 1;
        DWORD type = 0;
        if (RegEnumValueA(key.Get(), index, name, &nameSize, nullptr, &type, data, &size) != 0) break;
        lines.push_back(relative + " " + name + " " + std::to_string(type) + " " + Content(type, data, size));
    }
    // Windows enumerates values in order of creation, Wine by name.
    std::sort(lines.begin() + values, lines.end());
    for (DWORD index = 0;; ++index) {
        char name[256] = "";
        DWORD size = sizeof name;
        if (RegEnumKeyExA(key.Get(), index, name, &size, nullptr, nullptr, nullptr, nullptr) != 0) break;
        const std::string below = relative.empty() ? name : relative + "\\" + name;
        lines.push_back("[" + below + "]");
        ListInto(root, path + "\\" + name, below, lines);
    }
}

}  // namespace

void RegistryTest::SetUp() {
    FreshMachine::SetUp();
    // Where the tests leave something outside the family's own keys.
    for (const std::string& key : {kServices + "SNMP", kServices + "DbaRpcService", kEventSources + "TestSource",
                                   kEventSources + "Alert Notification Server", kWindows + "Uninstall\\KorvaultNT",
                                   kProfile, std::string("SOFTWARE\\V")}) {
        Remove(key);
    }
    Halv::DeleteKorvaultShellExtension("");
    DeleteKeyTree(HKEY_CLASSES_ROOT, ".asx");
    for (const char* name : {"CATPATH", "LNNAME", "RNNAME"}) Halv::DeleteEnvironmentVariable(name);
    SetCurrentDirectoryA(Folder().c_str());
    Halv builtInRoots;
    SetLastError(0xdeadbeef);
}

CSettings RegistryTest::ServerSettings(LONG productType, int copyOnlyMode) {
    static tagSETUP_INFO info;
    info = {};
    info.productType = productType;
    info.copyOnlyMode = copyOnlyMode;
    std::strcpy(info.productName, "Test Product");
    std::strcpy(info.logFile, (Folder() + "\\setup.log").c_str());
    CSettings settings(&info, 0);
    settings.KorvaultPath("C:\\P");
    settings.AlertPath("C:\\A");
    settings.ClientAgentPath("C:\\G");
    settings.RegisteredUser("User");
    settings.RegisteredCompany("Company");
    settings.SystemAccountName("svc");
    settings.ProductSubType(3);
    settings.InstallManager(1);
    settings.InstallServer(1);
    return settings;
}

tagProductStruct RegistryTest::Record(WORD version, WORD build) {
    tagProductStruct record;
    std::memset(static_cast<void*>(&record), 0xA5, sizeof record);
    record.dwProductCode = 0x01020304;
    record.wVersion = version;
    record.wBuild = build;
    record.cSubType = -3;
    record.dwUserLevel = 77;
    return record;
}

TestBytes RegistryTest::BytesOf(const tagProductStruct& record) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(&record);
    return TestBytes(bytes, bytes + sizeof record);
}

Lines RegistryTest::List(const std::string& key, HKEY root) {
    Lines lines;
    ListInto(root, key, "", lines);
    return lines;
}
