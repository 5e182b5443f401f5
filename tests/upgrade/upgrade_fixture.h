// What the tests of upgrades share: a medium in C:\TEST\medium whose information file a test writes in a line, the
// version that its version library tells, registered products, and the trace.
#ifndef INSTALIB_TESTS_UPGRADE_FIXTURE_H
#define INSTALIB_TESTS_UPGRADE_FIXTURE_H

#include "instalib/upgrade.h"
#include "tests/registry/registry_fixture.h"

inline const std::string kBackup = kRoot + "(BACKUP)";
inline const std::string kUninstall = kWindows + "Uninstall\\";
inline constexpr char kMedium[] = "C:\\TEST\\medium";
inline constexpr char kCode[] = "{11111111-2222-3333-4444-555555555555}";

class UpgradeTest : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        Remove(kUninstall + kCode);
        Remove(kOld);
        PlaceLibrary("VERLIB.DLL", "C:\\TEST\\medium\\");
        New("11.5", "4200");
        Rules("");
        SetEnvironmentVariableA("UPGRADE_INSTALIB", "C:\\TEST");
    }
    void TearDown() override {
        SetEnvironmentVariableA("UPGRADE_INSTALIB", nullptr);
        Remove(kUninstall + kCode);
        Remove(kOld);
        RegistryTest::TearDown();
    }

    static void New(const char* version, const char* build) {
        SetEnvironmentVariableA("TEST_VERSION", version);
        SetEnvironmentVariableA("TEST_BUILD", build);
    }
    // The information file with these lines in its section Upgrade.
    static void Rules(const std::string& lines) {
        WriteBytes(std::string(kMedium) + "\\setup.inf",
                   "[Setup]\r\nProductCode={NEW}\r\nProdSubType=7\r\nProductDescriptor=Agent\r\n"
                   "[Upgrade]\r\nVersionDLL=VERLIB.DLL\r\nUpgradeMsg=1201\r\nInvalidUpgradeMsg=1202\r\n" +
                       lines);
    }
    static void Install(WORD version, WORD build, int subType = 1, HKEY root = HKEY_LOCAL_MACHINE,
                        const char* name = "Agent") {
        tagProductStruct record = Record(version, build);
        record.cSubType = static_cast<signed char>(subType);
        PlantRecord(kProducts, name, record, root);
    }
    static std::string File() { return std::string(kMedium) + "\\setup.inf"; }
    static void ClearTrace() { WriteBytes("C:\\TEST\\Upgrade_Instalib.log", ""); }
    static std::string Trace() { return ReadBytes("C:\\TEST\\Upgrade_Instalib.log"); }
    // The lines as the log holds them.
    static std::string Traced(const Lines& lines) {
        std::string text;
        for (const std::string& line : lines) text += line + "\r\n";
        return text;
    }
    static int Ask(DWORD* word = nullptr, const char* descriptor = "Agent", const char* machine = nullptr) {
        return KSetIsAllowUpgrade(kMedium, descriptor, word, machine);
    }

    static inline const std::string kOld = "SOFTWARE\\InstalibTest\\Old";
};

#endif
