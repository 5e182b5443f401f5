#include "instalib/settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

namespace {

template <std::size_t Size>
void Fill(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    std::memcpy(field, text.data(), std::min(text.size(), Size));
}

CSettings Named(const std::string& productName) {
    tagSETUP_INFO info{};
    Fill(info.productName, productName);
    return CSettings(&info, 0);
}

TEST(Settings, RecordIsCopiedFieldByField) {
    tagSETUP_INFO info{};
    Fill(info.profile, "profile");
    Fill(info.traceFile, "trace");
    Fill(info.sourcePath, "D:\\");
    Fill(info.batchFile, "batch");
    Fill(info.mifFile, "mif");
    Fill(info.programGroupName, "group");
    Fill(info.logFile, "log");
    info.productType = 133;
    info.ignoreErrors = 2;
    info.trace = 3;
    info.batchOperation = 4;
    info.mif = 5;
    info.configurationOnly = 6;
    std::memset(info.reserved, 0xff, sizeof info.reserved);
    info.copyOnlyMode = 7;
    CSettings settings(&info, 8);
    EXPECT_STREQ(settings.Profile(), "profile");
    EXPECT_STREQ(settings.TraceFile(), "trace");
    EXPECT_STREQ(settings.SourcePath(), "D:\\");
    EXPECT_STREQ(settings.BatchFile(), "batch");
    EXPECT_STREQ(settings.MIFFile(), "mif");
    EXPECT_STREQ(settings.ProgramGroupName(), "group");
    EXPECT_STREQ(settings.LogFile(), "log");
    EXPECT_EQ(settings.ProductType(), 133);
    EXPECT_EQ(settings.IgnoreErrors(), 2);
    EXPECT_EQ(settings.Trace(), 3);
    EXPECT_EQ(settings.BatchOperation(), 4);
    EXPECT_EQ(settings.MIF(), 5);
    EXPECT_EQ(settings.ConfigurationOnly(), 6);
    EXPECT_EQ(settings.IsCopyOnlyMode(), 7);
    EXPECT_EQ(settings.Uninstall(), 8);
    EXPECT_EQ(settings.RemoteSetup() + settings.CustomSetup() + settings.Aborted(), 0);
}

TEST(Settings, ProductNameIsSplitAtTheFirstSeparator) {
    CSettings edition = Named("Zephranite Korvault Backup - Workgroup Edition");
    EXPECT_STREQ(edition.ProductShortName(), "Zephranite Korvault Backup");
    EXPECT_STREQ(edition.EditionName(), "Workgroup Edition");
    CSettings plain = Named("Backup-Plain");
    EXPECT_STREQ(plain.ProductShortName(), "Backup-Plain");
    EXPECT_STREQ(plain.EditionName(), "");
    CSettings twice = Named("A - B - C");
    EXPECT_STREQ(twice.ProductShortName(), "A");
    EXPECT_STREQ(twice.EditionName(), "B - C");
    EXPECT_STREQ(twice.ProductName(), "A - B - C");
}

TEST(Settings, TextWithoutTerminatorEndsWithItsField) {
    tagSETUP_INFO info;
    std::memset(&info, 'x', sizeof info);
    CSettings settings(&info, 0);
    EXPECT_EQ(std::strlen(settings.ProductName()), 256u);
    EXPECT_EQ(std::strlen(settings.BatchFile()), 261u);
    EXPECT_EQ(std::strlen(settings.LogFile()), 261u);
}

TEST(Settings, BuiltInValuesAreZeroAndEmptyButForTheDatabase) {
    CSettings settings(nullptr, 0);
    EXPECT_EQ(settings.InstallRAIMA(), 1);
    EXPECT_EQ(settings.InstallSQL(), 0);
    EXPECT_EQ(settings.InstallDBType(), 2u);
    EXPECT_EQ(settings.ExpressSetup(), 1);
    EXPECT_EQ(settings.InstallKorvault(), 0);
    EXPECT_STREQ(settings.KorvaultPath(), "");
}

// The bits of the component mask, read through the queries.
DWORD Components(CSettings& settings) {
    return DWORD(settings.InstallManager() * 1 + settings.InstallServer() * 2 + settings.InstallAdmin() * 4 +
                 settings.InstallAlert() * 8 + settings.InstallHSM() * 16 + settings.InstallOGT() * 32 +
                 settings.InstallAV() * 64);
}

using BitSetter = void (CSettings::*)(int);
struct BitCase {
    const char* name;
    BitSetter set;
    DWORD afterSet;    // of an empty mask
    DWORD afterClear;  // of a full mask, without HSM and framework
};

class SettingsComponents : public testing::TestWithParam<BitCase> {};

TEST_P(SettingsComponents, SetterSetsAndClearsItsBits) {
    CSettings settings;
    (settings.*GetParam().set)(1);
    EXPECT_EQ(Components(settings), GetParam().afterSet);
    for (BitSetter set : {BitSetter(&CSettings::InstallManager), BitSetter(&CSettings::InstallServer),
                          BitSetter(&CSettings::InstallAlert), BitSetter(&CSettings::InstallAV)}) {
        (settings.*set)(5);
    }
    (settings.*GetParam().set)(0);
    EXPECT_EQ(Components(settings), GetParam().afterClear);
}

INSTANTIATE_TEST_SUITE_P(All, SettingsComponents,
                         testing::Values(BitCase{"Manager", &CSettings::InstallManager, 1, 78},
                                         BitCase{"ServerBringsAdmin", &CSettings::InstallServer, 6, 77},
                                         BitCase{"Admin", &CSettings::InstallAdmin, 4, 75},
                                         BitCase{"Alert", &CSettings::InstallAlert, 8, 71},
                                         BitCase{"AV", &CSettings::InstallAV, 64, 15},
                                         BitCase{"HSMNotAvailable", &CSettings::InstallHSM, 0, 79},
                                         BitCase{"FrameworkNotAvailable", &CSettings::InstallOGT, 0, 79},
                                         BitCase{"UninstallKorvault", &CSettings::UninstallKorvault, 7, 72},
                                         BitCase{"UninstallAlert", &CSettings::UninstallAlert, 8, 71}),
                         [](const auto& row) { return row.param.name; });

TEST(Settings, UninstallKorvaultWantsAllItsComponents) {
    CSettings settings;
    settings.InstallManager(1);
    settings.InstallServer(1);
    EXPECT_EQ(settings.UninstallKorvault(), 1);
    settings.InstallAdmin(0);
    EXPECT_EQ(settings.UninstallKorvault(), 0);
    EXPECT_EQ(settings.InstallKorvault(), 1);
}

TEST(Settings, DatabaseBitsStandApart) {
    CSettings settings;
    settings.InstallSQL(1);
    EXPECT_EQ(settings.UninstallSQL(), 1);  // one bit, named after the mode
    EXPECT_EQ(settings.InstallRAIMA(), 1);
    settings.InstallRAIMA(0);
    settings.UninstallSQL(0);
    EXPECT_EQ(settings.InstallSQL() + settings.InstallRAIMA(), 0);
    EXPECT_EQ(Components(settings), 0u);
}

TEST(Settings, ExpressSetupSelectsTheStandardSet) {
    CSettings settings;
    settings.CustomSetup(1);
    EXPECT_EQ(settings.ExpressSetup(), 0);
    EXPECT_EQ(Components(settings), 0u);
    settings.CustomSetup(0);
    EXPECT_EQ(settings.ExpressSetup(), 1);
    EXPECT_EQ(Components(settings), 15u);
}

TEST(Settings, DiskSpaceIsTheSumOfTheSelection) {
    CSettings settings;
    EXPECT_EQ(settings.DiskSpaceNeeded(), 0u);
    settings.InstallServer(1);
    EXPECT_EQ(settings.DiskSpaceNeeded(), 22800u);
    settings.InstallManager(1);
    EXPECT_EQ(settings.DiskSpaceNeeded(), 35800u);
    settings.InstallAlert(1);
    EXPECT_EQ(settings.DiskSpaceNeeded(), 37800u);
    settings.InstallAlert(0);
    settings.InstallAdmin(0);
    EXPECT_EQ(settings.DiskSpaceNeeded(), 35100u);
}

TEST(Settings, PathsEndInOneBackslashOrAreEmpty) {
    CSettings settings;
    const std::pair<void (CSettings::*)(const char*), const char* (CSettings::*)()> paths[] = {
        {&CSettings::KorvaultPath, &CSettings::KorvaultPath},
        {&CSettings::AlertPath, &CSettings::AlertPath},
        {&CSettings::ClientAgentPath, &CSettings::ClientAgentPath}};
    for (const auto& [set, get] : paths) {
        const char* const given[] = {"C:\\X", "C:\\X\\", "C:\\X\\\\", "", "\\", nullptr};
        const char* const kept[] = {"C:\\X\\", "C:\\X\\", "C:\\X\\", "", "", ""};
        for (int i = 0; i < 6; ++i) {
            (settings.*set)(given[i]);
            EXPECT_STREQ((settings.*get)(), kept[i]);
        }
    }
}

TEST(Settings, MachineWithoutTheComponentIsANewInstallation) {
    CSettings settings;
    EXPECT_EQ(settings.NewKorvaultInstall(), 1);
    EXPECT_EQ(settings.NewAlertInstall(), 1);
}

TEST(Settings, CopyDoesNotFollowItsOriginal) {
    CSettings original;
    original.InstallAV(1);
    original.RegisteredUser("first");
    original.SystemAccountPassword("secret");
    CSettings copy(original);
    CSettings assigned;
    assigned = original;
    CSettings fromConstant;
    fromConstant = std::as_const(original);
    original.RegisteredUser("second");
    original.InstallAV(0);
    for (CSettings* other : {&copy, &assigned, &fromConstant}) {
        EXPECT_STREQ(other->RegisteredUser(), "first");
        EXPECT_STREQ(other->SystemAccountPassword(), "secret");
        EXPECT_EQ(other->InstallAV(), 1);
    }
}

TEST(Settings, SetterTakesItsOwnText) {
    CSettings settings;
    settings.SystemAccountPassword("secret");
    settings.SystemAccountPassword(settings.SystemAccountPassword());
    EXPECT_STREQ(settings.SystemAccountPassword(), "secret");
    settings.KorvaultPath("C:\\X");
    settings.KorvaultPath(settings.KorvaultPath());
    EXPECT_STREQ(settings.KorvaultPath(), "C:\\X\\");
}

}  // namespace
