#include "instalib/settings.h"

#include <string>
#include <utility>

#include "tests/setupfiles/setup_files_fixture.h"

namespace {

TEST(Settings, RecordIsCopiedFieldByField) {
    // Every text field is as long as its own letter says: none has a terminator.
    tagSETUP_INFO info;
    for (auto [field, letter] : {std::pair{info.productName, 'n'}, {info.profile, 'p'}, {info.traceFile, 't'},
                                 {info.sourcePath, 's'}, {info.batchFile, 'b'}, {info.mifFile, 'm'},
                                 {info.programGroupName, 'g'}, {info.logFile, 'l'}}) {
        std::memset(field, letter, letter == 'n' || letter == 'g' ? 256 : 261);
    }
    info.productType = 133;
    info.ignoreErrors = 2;
    info.trace = 3;
    info.batchOperation = 4;
    info.mif = 5;
    info.configurationOnly = 6;
    std::memset(info.reserved, 0xff, sizeof info.reserved);
    info.copyOnlyMode = 7;
    CSettings s(&info, 8);
    const auto full = [](char letter) { return std::string(261, letter); };
    EXPECT_EQ(Joined(s.ProductName(), s.Profile(), s.TraceFile(), s.SourcePath()),
              Joined(std::string(256, 'n'), full('p'), full('t'), full('s')));
    EXPECT_EQ(Joined(s.BatchFile(), s.MIFFile(), s.ProgramGroupName(), s.LogFile()),
              Joined(full('b'), full('m'), std::string(256, 'g'), full('l')));
    EXPECT_EQ(Joined(s.ProductType(), s.IgnoreErrors(), s.Trace(), s.BatchOperation(), s.MIF(), s.ConfigurationOnly(),
                     s.IsCopyOnlyMode(), s.Uninstall()),
              "133|2|3|4|5|6|7|8|");
    EXPECT_EQ(Joined(s.RemoteSetup(), s.CustomSetup(), s.ExpressSetup(), s.Aborted()), "0|0|1|0|");
}

TEST(Settings, ProductNameIsSplitAtTheFirstSeparator) {
    for (const auto& [name, shortAndEdition] :
         {std::pair{"Korvault Backup - Workgroup Edition", "Korvault Backup|Workgroup Edition|"},
          {"Backup-Plain", "Backup-Plain||"},
          {"A - B - C", "A|B - C|"}}) {
        tagSETUP_INFO info{};
        Fill(info.productName, name);
        CSettings s(&info, 0);
        EXPECT_STREQ(s.ProductName(), name);
        EXPECT_EQ(Joined(s.ProductShortName(), s.EditionName()), shortAndEdition);
    }
}

// The bits of the component mask, read through the queries.
int Components(CSettings& s) {
    return s.InstallManager() * 1 + s.InstallServer() * 2 + s.InstallAdmin() * 4 + s.InstallAlert() * 8 +
           s.InstallHSM() * 16 + s.InstallOGT() * 32 + s.InstallAV() * 64;
}

TEST(Settings, ComponentSettersSetAndClearTheirBits) {
    using Setter = void (CSettings::*)(int);
    const struct {
        Setter set;
        int afterSet, afterClear;  // of an empty mask; of a full mask, without HSM and framework
    } rows[] = {
        {&CSettings::InstallManager, 1, 78}, {&CSettings::InstallServer, 6, 77},  // brings the admin tool
        {&CSettings::InstallAdmin, 4, 75},   {&CSettings::InstallAlert, 8, 71},
        {&CSettings::InstallAV, 64, 15},     {&CSettings::InstallHSM, 0, 79},  // not available
        {&CSettings::InstallOGT, 0, 79},     {&CSettings::UninstallKorvault, 7, 72},
        {&CSettings::UninstallAlert, 8, 71},
    };
    for (const auto& row : rows) {
        CSettings s;
        (s.*row.set)(5);
        EXPECT_EQ(Components(s), row.afterSet);
        s.CustomSetup(0);  // express: the standard set
        s.InstallAV(1);
        (s.*row.set)(0);
        EXPECT_EQ(Components(s), row.afterClear);
    }
}

TEST(Settings, QueriesWantAllTheirBits) {
    CSettings s;
    EXPECT_EQ(Joined(s.InstallKorvault(), s.InstallRAIMA(), s.InstallSQL(), s.InstallDBType()), "0|1|0|2|");
    s.InstallManager(1);
    s.InstallServer(1);
    EXPECT_EQ(s.UninstallKorvault(), 1);
    s.InstallAdmin(0);
    EXPECT_EQ(Joined(s.UninstallKorvault(), s.InstallKorvault()), "0|1|");
    s.InstallSQL(1);
    EXPECT_EQ(Joined(s.UninstallSQL(), s.InstallRAIMA()), "1|1|");
    s.InstallRAIMA(0);
    s.UninstallSQL(0);
    EXPECT_EQ(Joined(s.InstallSQL(), s.InstallRAIMA(), Components(s)), "0|0|3|");
}

TEST(Settings, DiskSpaceIsTheSumOfTheSelection) {
    CSettings s;
    EXPECT_EQ(s.DiskSpaceNeeded(), 0u);
    s.InstallServer(1);
    EXPECT_EQ(s.DiskSpaceNeeded(), 22800u);
    s.CustomSetup(0);
    EXPECT_EQ(s.DiskSpaceNeeded(), 37800u);
    s.InstallAlert(0);
    s.InstallAdmin(0);
    EXPECT_EQ(s.DiskSpaceNeeded(), 35100u);
}

TEST(Settings, PathsEndInOneBackslashOrAreEmpty) {
    for (const auto& [given, kept] : {std::pair{"C:\\X", "C:\\X\\"}, {"C:\\X\\\\", "C:\\X\\"}, {"\\", ""}, {"", ""}}) {
        CSettings s;
        s.KorvaultPath(given);
        s.KorvaultPath(s.KorvaultPath());  // its own text
        s.AlertPath(given);
        s.ClientAgentPath(given);
        EXPECT_EQ(Joined(s.KorvaultPath(), s.AlertPath(), s.ClientAgentPath()), Joined(kept, kept, kept));
        EXPECT_EQ(Joined(s.NewKorvaultInstall(), s.NewAlertInstall()), "1|1|");  // nothing is there yet
    }
}

TEST(Settings, CopyDoesNotFollowItsOriginal) {
    CSettings original;
    original.InstallAV(1);
    original.RegisteredUser("first");
    original.SystemAccountPassword("secret");
    original.SystemAccountPassword(original.SystemAccountPassword());
    CSettings copy(original);
    CSettings assigned;
    assigned = original;
    CSettings fromConstant;
    fromConstant = std::as_const(original);
    original.RegisteredUser("second");
    original.InstallAV(0);
    for (CSettings* other : {&copy, &assigned, &fromConstant}) {
        EXPECT_EQ(Joined(other->RegisteredUser(), other->SystemAccountPassword(), other->InstallAV()),
                  "first|secret|1|");
    }
}

TEST(Settings, AssignmentLeavesNothingOfThePassword) {
    CSettings s, other;
    s.SystemAccountPassword("long secret");
    other.SystemAccountPassword("new");
    const char* const text = s.SystemAccountPassword();
    s = other;
    ASSERT_EQ(s.SystemAccountPassword(), text);  // in the same memory
    EXPECT_EQ(std::string(text, 12), "new" + std::string(9, '\0'));
}

}  // namespace
