// What the tests of the registry class share: a fresh machine with the built-in roots, settings of a server product, an
// object whose fields can be seen, and keys listed as text.
#ifndef INSTALIB_TESTS_REGISTRY_FIXTURE_H
#define INSTALIB_TESTS_REGISTRY_FIXTURE_H

#include <cstring>

#include "instalib/registry.h"
#include "tests/support/fresh_machine.h"

inline constexpr char kRoot[] = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup";
inline constexpr char kBase[] = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Base";
inline constexpr char kProducts[] = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Products";
inline constexpr char kSnmpAgents[] = "SYSTEM\\CurrentControlSet\\Services\\SNMP\\Parameters\\ExtensionAgents";
inline constexpr char kEnvironment[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
inline constexpr char kSharedDlls[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";
inline constexpr char kProfiles[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";

// Names the cases of a table by their rows' title.
inline constexpr auto kTitle = [](const auto& info) { return std::string(info.param.title); };

struct OpenRegistry : CHalvRegistry {
    using CHalvRegistry::CHalvRegistry;
    using CHalvRegistry::m_cNamedSubType;
    using CHalvRegistry::m_dwAccess;
    using CHalvRegistry::m_hKey;
    using CHalvRegistry::m_sHomeDir;
};

class RegistryTest : public FreshMachine {
  protected:
    void SetUp() override;

    // A main server product with manager and server, in C:\P, its alert service in C:\A.
    static CSettings ServerSettings(LONG productType = 133, int copyOnlyMode = 0);
    static tagProductStruct Record(WORD version, WORD build);
    static void PlantRecord(HKEY root, const std::string& key, const char* name, const tagProductStruct& record);
    static TestBytes BytesOf(const tagProductStruct& record);
    // Everything below a key, one line a key ("[path]") or value ("path name type text"), paths relative to the key;
    // the values of a key sorted.
    static std::vector<std::string> Listing(HKEY root, const std::string& key);
    static TestBytes Text(std::string_view text);  // with its terminator
};

#endif
