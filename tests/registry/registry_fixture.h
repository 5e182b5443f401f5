// What the tests of the registry class share: a fresh machine with the built-in roots, settings of a server product, an
// object whose fields can be seen, and keys of the local machine in one line each.
#ifndef INSTALIB_TESTS_REGISTRY_FIXTURE_H
#define INSTALIB_TESTS_REGISTRY_FIXTURE_H

#include <cstring>

#include "instalib/registry.h"
#include "tests/support/fresh_machine.h"

inline const std::string kVendor = "SOFTWARE\\Orvanex";
inline const std::string kRoot = kVendor + "\\Zephranite Korvault Backup";
inline const std::string kBase = kRoot + "\\Base";
inline const std::string kProducts = kRoot + "\\Products";
inline const std::string kView32 = "SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Korvault Backup";
inline const std::string kFormer = "SOFTWARE\\Halvenor";
inline const std::string kAlert = kVendor + "\\ALERT\\CurrentVersion";
inline const std::string kFormerAlert = kFormer + "\\ALERT\\CurrentVersion";
inline const std::string kListOfProducts = kVendor + "\\OV-InstalledITProducts";
inline const std::string kScratch = "SOFTWARE\\InstalibTest";
inline const std::string kServices = "SYSTEM\\CurrentControlSet\\Services\\";
inline const std::string kSnmpAgents = kServices + "SNMP\\Parameters\\ExtensionAgents";
inline const std::string kEventSources = kServices + "EventLog\\Application\\";
inline const std::string kEnvironment = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
inline const std::string kWindows = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\";
inline const std::string kSharedDlls = kWindows + "SharedDLLs";
inline const std::string kProfile = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\S-1-5-21-1-2-3-1000";
inline const std::string kClsid = "{e72925c0-b105-11cf-906f-0080d8001326}";

struct OpenRegistry : CHalvRegistry {
    using CHalvRegistry::CHalvRegistry;
    using CHalvRegistry::m_cNamedSubType;
    using CHalvRegistry::m_dwAccess;
    using CHalvRegistry::m_hKey;
    using CHalvRegistry::m_sHomeDir;
};

using Lines = std::vector<std::string>;

class RegistryTest : public FreshMachine {
  protected:
    using Halv = CHalvRegistry;

    void SetUp() override;

    // A main server product with manager and server, in C:\P, its alert service in C:\A; an object that writes it.
    static CSettings ServerSettings(LONG productType = 133, int copyOnlyMode = 0);
    static CHalvRegistry Writer(CSettings settings = ServerSettings()) { return CHalvRegistry(settings, 0, nullptr); }
    static tagProductStruct Record(WORD version, WORD build);
    static void PlantRecord(Key key, const char* name, const tagProductStruct& record, HKEY root = HKEY_LOCAL_MACHINE) {
        SetRaw(root, key, name, REG_BINARY, BytesOf(record));
    }
    static TestBytes BytesOf(const tagProductStruct& record);
    // What a call that fills a text buffer of this size answers, then the text.
    template <class Read>
    static std::string Filled(Read read, DWORD size = 64) {
        char buffer[64] = "old";
        const int result = read(buffer, &size);
        return Told(result, buffer);
    }
    static std::string AgentsDirectory(const char* agent, int current, DWORD room = 64) {
        const auto read = [&](char* buffer, DWORD* size) {
            return Halv::GetDBAgentHomeDir(agent, buffer, size, current, nullptr);
        };
        return Filled(read, room);
    }
    // Everything below a key, one line a key ("[path]") or value ("path name type text", "?" behind a text without its
    // terminator), paths relative to the key; the values of a key sorted.
    static Lines List(const std::string& key, HKEY root = HKEY_LOCAL_MACHINE);

    static void Put(const std::string& key, const char* name, std::string_view text) { SetText(key, name, text); }
    static std::string Get(const std::string& key, const char* name) { return GetText(key, name); }
    static void Make(const std::string& key) { MakeKey(key); }
    static bool Has(const std::string& key) { return KeyExists(key); }
    static void Remove(const std::string& key) { DeleteKeyTree(key); }
};

#endif
