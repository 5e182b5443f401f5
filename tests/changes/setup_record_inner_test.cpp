// Changes on record, one family after the other, on both targets: recorded, taken back, left alone where somebody else
// was at it; and files that are no records.
#include "instalib/setup_record.h"

#include <cstring>
#include <functional>

#include "changes/changing.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

constexpr char kKey[] = "SOFTWARE\\InstalibTest";

class SetupRecord : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        MakeKey(HKEY_LOCAL_MACHINE, kKey);
        SetText(HKEY_LOCAL_MACHINE, kKey, "Old", "before");
        WriteBytes(Folder() + "\\OLD.TXT", "old file");
        WriteBytes(Folder() + "\\OLD.INI", "[S]\r\nKey=before\r\n\r\n; a remark\r\n[T]\r\nOther=1\r\n");
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_ALL_ACCESS, m_key.Receive()), 0);
    }
    void TearDown() override {
        m_key.Reset();
        FreshMachine::TearDown();
    }
    static std::string File() { return Folder() + "\\SETUP.REC"; }
    std::string Text(const char* name, const char* below = "") {
        return GetText(HKEY_LOCAL_MACHINE, kKey + std::string(below), name);
    }
    LSTATUS SetValue(const char* name, const char* text) {
        return changing::RegSetValueExA(m_key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                                        DWORD(std::strlen(text) + 1));
    }
    LSTATUS CreateKey(const char* below) {
        RegistryKey created;
        return changing::RegCreateKeyExA(m_key.Get(), below, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, created.Receive(),
                                         nullptr);
    }
    // Something of every kind that both targets have.
    void ChangeMuch() {
        const std::string ini = Folder() + "\\OLD.INI", made = Folder() + "\\MADE";
        EXPECT_EQ(SetValue("Old", "after"), 0);
        EXPECT_EQ(SetValue("New", "1"), 0);
        EXPECT_EQ(SetValue("New", "2"), 0);
        EXPECT_EQ(CreateKey("A\\B\\C"), 0);
        EXPECT_EQ(changing::RegDeleteValueA(m_key.Get(), "Old"), 0);
        EXPECT_EQ(changing::RegDeleteKeyA(m_key.Get(), "Gone"), 0);
        EXPECT_TRUE(changing::CreateDirectoryA(made.c_str(), nullptr));
        EXPECT_EQ(changing::_rmdir((Folder() + "\\EMPTY").c_str()), 0);
        EXPECT_TRUE(changing::SetFileAttributesA((Folder() + "\\OLD.TXT").c_str(), FILE_ATTRIBUTE_HIDDEN));
        EXPECT_TRUE(changing::DeleteFileA((Folder() + "\\OLD.TXT").c_str()));
        EXPECT_TRUE(changing::WritePrivateProfileStringA("S", "Key", "after", ini.c_str()));
        EXPECT_TRUE(changing::WritePrivateProfileStringA("New", "Key", "1", ini.c_str()));
        EXPECT_TRUE(changing::SetEnvironmentVariableA("INSTALIBTEST", "set"));
    }
    void PrepareMuch() {
        SetText(HKEY_LOCAL_MACHINE, std::string(kKey) + "\\Gone", "Kept", "value");
        MakeFolder(Folder() + "\\EMPTY");
        SetEnvironmentVariableA("INSTALIBTEST", nullptr);
    }
    void ExpectAsBefore() {
        EXPECT_EQ(Text("Old"), "before");
        EXPECT_EQ(Text("New"), "<none>");
        EXPECT_EQ(Text("Kept", "\\Gone"), "value");
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, std::string(kKey) + "\\A"));
        EXPECT_FALSE(FileExists(Folder() + "\\MADE"));
        EXPECT_TRUE(FileExists(Folder() + "\\EMPTY"));
        EXPECT_EQ(ReadBytes(Folder() + "\\OLD.TXT"), "old file");
        EXPECT_EQ(GetFileAttributesA((Folder() + "\\OLD.TXT").c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
        EXPECT_EQ(ReadBytes(Folder() + "\\OLD.INI"), "[S]\r\nKey=before\r\n\r\n; a remark\r\n[T]\r\nOther=1\r\n");
        EXPECT_FALSE(FileExists(File() + ".kept"));
    }

    RegistryKey m_key;
};

TEST_F(SetupRecord, RollbackTakesEverythingBack) {
    PrepareMuch();
    CSetupRecord record;
    ASSERT_TRUE(record.Begin(File().c_str()));
    EXPECT_TRUE(record.Mark("All of it"));
    ChangeMuch();
    EXPECT_EQ(Text("New"), "2");
    EXPECT_FALSE(FileExists(Folder() + "\\OLD.TXT"));
    EXPECT_TRUE(record.Rollback()) << GetLastError();
    ExpectAsBefore();
    EXPECT_EQ(GetEnvironmentVariableA("INSTALIBTEST", nullptr, 0), 0u);
    EXPECT_EQ(record.GetState(), CSetupRecord::RolledBack);
    EXPECT_TRUE(CSetupRecord::Forget(File().c_str()));
    EXPECT_FALSE(FileExists(File()));
}

TEST_F(SetupRecord, ACompletedSetupIsTakenBackFromItsFile) {
    PrepareMuch();
    {
        CSetupRecord record;
        ASSERT_TRUE(record.Begin(File().c_str()));
        ChangeMuch();
        ASSERT_TRUE(record.Commit());
    }
    EXPECT_EQ(SetValue("Later", "not on record"), 0);
    CSetupRecord record;
    ASSERT_TRUE(record.Read(File().c_str()));
    EXPECT_EQ(record.GetState(), CSetupRecord::Committed);
    tagSETUP_CHANGE change;
    ASSERT_TRUE(record.Get(0, change));
    EXPECT_STREQ(change.sKind, "value");
    EXPECT_STRCASEEQ(change.sName, "\\REGISTRY\\MACHINE\\SOFTWARE\\InstalibTest");
    EXPECT_STREQ(change.sPart, "Old");
    EXPECT_STREQ(change.sBefore, "REG_SZ before");
    EXPECT_STREQ(change.sAfter, "REG_SZ after");
    EXPECT_FALSE(record.Get(record.Count(), change));
    EXPECT_TRUE(record.Recover(File().c_str())) << GetLastError();
    ExpectAsBefore();
    EXPECT_EQ(Text("Later"), "not on record");
    EXPECT_TRUE(record.Recover(File().c_str())) << "again: nothing is left to do";
}

TEST_F(SetupRecord, WhatOthersChangedSinceIsLeftAndNamed) {
    CSetupRecord record;
    ASSERT_TRUE(record.Begin(File().c_str()));
    ASSERT_EQ(SetValue("Old", "a"), 0);
    ASSERT_EQ(SetValue("Old", "b"), 0);
    ASSERT_EQ(SetValue("New", "c"), 0);
    ASSERT_EQ(CreateKey("Made"), 0);
    ASSERT_TRUE(changing::CreateDirectoryA((Folder() + "\\MADE").c_str(), nullptr));
    const std::string ini = Folder() + "\\OLD.INI";
    ASSERT_TRUE(changing::WritePrivateProfileStringA("S", "Key", "after", ini.c_str()));
    SetText(HKEY_LOCAL_MACHINE, kKey, "Old", "foreign");
    SetText(HKEY_LOCAL_MACHINE, std::string(kKey) + "\\Made", "Foreign", "1");
    WriteBytes(Folder() + "\\MADE\\FOREIGN.TXT", "1");
    WritePrivateProfileStringA("T", "Other", "foreign", ini.c_str());
    EXPECT_FALSE(record.Rollback());
    EXPECT_EQ(GetLastError(), DWORD(CSetupRecord::ChangedSince));
    EXPECT_EQ(Text("Old"), "foreign");
    EXPECT_EQ(Text("New"), "<none>");
    EXPECT_EQ(Text("Foreign", "\\Made"), "1");
    EXPECT_TRUE(FileExists(Folder() + "\\MADE\\FOREIGN.TXT"));
    char value[20] = "";
    GetPrivateProfileStringA("S", "Key", "", value, sizeof value, ini.c_str());
    EXPECT_STREQ(value, "before");
    GetPrivateProfileStringA("T", "Other", "", value, sizeof value, ini.c_str());
    EXPECT_STREQ(value, "foreign");
    std::string names;
    tagSETUP_CHANGE left;
    for (int i = 0; record.GetLeft(i, left); ++i)
        names += std::string(left.sKind) + " " + std::string(left.sPart) + "; ";
    EXPECT_EQ(names, "directory ; key ; value Old; ");
}

TEST_F(SetupRecord, PasswordsAreNeverInTheFile) {
    CSetupRecord record;
    ASSERT_TRUE(record.Begin(File().c_str()));
    const std::string ini = Folder() + "\\OLD.INI";
    WritePrivateProfileStringA("S", "SystemPassword", "SECRETONE", ini.c_str());
    ASSERT_TRUE(changing::WritePrivateProfileStringA("S", "SystemPassword", "SECRETTWO", ini.c_str()));
    ASSERT_TRUE(changing::WritePrivateProfileStringA("S", "Key", "after", ini.c_str()));
    ASSERT_TRUE(record.Commit());
    EXPECT_EQ(ReadBytes(File()).find("SECRET"), std::string::npos);
    EXPECT_FALSE(record.Recover(File().c_str()));
    EXPECT_EQ(GetLastError(), DWORD(CSetupRecord::NeverTakenBack));
    tagSETUP_CHANGE left;
    ASSERT_TRUE(record.GetLeft(0, left));
    EXPECT_STREQ(left.sPart, "[S] SystemPassword");
}

TEST_F(SetupRecord, OneRecordAtATimeInAFileOfItsOwn) {
    CSetupRecord record, other;
    EXPECT_FALSE(record.Mark("none runs"));
    EXPECT_FALSE(record.Commit());
    EXPECT_FALSE(record.Rollback());
    ASSERT_TRUE(record.Begin(File().c_str()));
    EXPECT_FALSE(other.Begin((Folder() + "\\OTHER.REC").c_str()));
    EXPECT_EQ(GetLastError(), 170u);
    ASSERT_TRUE(record.Commit());
    EXPECT_FALSE(other.Begin(File().c_str()));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_EXISTS));
}

TEST_F(SetupRecord, AStageThatWasNotFinishedIsTakenBackBeforeTheNextAttempt) {
    {
        CSetupRecord record;
        ASSERT_TRUE(record.Begin(File().c_str()));
        record.Mark("first");
        ASSERT_EQ(SetValue("Old", "first"), 0);
        record.Mark("second");
        ASSERT_EQ(SetValue("New", "second"), 0);
    }
    CSetupRecord record;
    ASSERT_TRUE(record.Resume(File().c_str())) << GetLastError();
    EXPECT_EQ(record.MarkCount(), 2);
    EXPECT_EQ(Text("Old"), "first");
    EXPECT_EQ(Text("New"), "<none>");
    record.Mark("second");
    ASSERT_EQ(SetValue("New", "again"), 0);
    ASSERT_TRUE(record.Commit());
    EXPECT_TRUE(record.Recover(File().c_str()));
    EXPECT_EQ(Text("Old"), "before");
    EXPECT_EQ(Text("New"), "<none>");
}

TEST_F(SetupRecord, APlanAdmitsItsChangesAlone) {
    const std::string plan = Folder() + "\\PLAN.REC";
    CSetupRecord planned;
    ASSERT_TRUE(planned.Begin(plan.c_str()));
    ASSERT_EQ(SetValue("Old", "a"), 0);
    ASSERT_EQ(SetValue("New", "b"), 0);
    ASSERT_TRUE(planned.Commit());
    const std::string bytes = ReadBytes(plan);
    ASSERT_TRUE(planned.Recover(plan.c_str()));
    const auto follow = [&](CSetupRecord& record, const char* file) {
        WriteBytes(plan, bytes);
        return record.Begin((Folder() + "\\" + file).c_str()) && record.Follow(plan.c_str());
    };
    CSetupRecord whole, other, changed;
    ASSERT_TRUE(follow(whole, "1.REC"));
    EXPECT_EQ(SetValue("Old", "a"), 0);
    EXPECT_FALSE(whole.Commit()) << "not all of it is done";
    EXPECT_EQ(SetValue("New", "b"), 0);
    EXPECT_EQ(SetValue("New", "more"), LSTATUS(CSetupRecord::ChangedSince));
    EXPECT_EQ(Text("New"), "b");
    EXPECT_TRUE(whole.Rollback());
    ASSERT_TRUE(follow(other, "2.REC"));
    EXPECT_EQ(CreateKey("Made"), LSTATUS(CSetupRecord::ChangedSince));
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, std::string(kKey) + "\\Made"));
    EXPECT_TRUE(other.Rollback());
    ASSERT_TRUE(follow(changed, "3.REC"));
    SetText(HKEY_LOCAL_MACHINE, kKey, "Old", "foreign");
    EXPECT_EQ(SetValue("Old", "a"), LSTATUS(CSetupRecord::ChangedSince));
    EXPECT_EQ(Text("Old"), "foreign");
    EXPECT_TRUE(changed.Rollback());
}

TEST_F(SetupRecord, WhatDiffersBetweenTwoRehearsalsIsNotComparedAndTheDepartureIsTold) {
    const std::string first = Folder() + "\\1ST.REC", again = Folder() + "\\2ND.REC", other = Folder() + "\\OTHER.REC";
    const auto rehearse = [&](const std::string& file, const char* date, const char* name) {
        CSetupRecord record;
        EXPECT_TRUE(record.Begin(file.c_str()));
        EXPECT_EQ(SetValue("Date", date), 0);
        EXPECT_EQ(name == nullptr ? 0 : SetValue(name, "same"), 0);
        EXPECT_TRUE(record.Commit());
        const std::string bytes = ReadBytes(file);
        EXPECT_TRUE(record.Recover(file.c_str()));
        WriteBytes(file, bytes);
    };
    rehearse(first, "today", "Name");
    rehearse(again, "tomorrow", "Name");
    rehearse(other, "today", nullptr);
    CSetupRecord one, two, short_, record;
    EXPECT_TRUE(one.Read(first.c_str()) && two.Read(again.c_str()) && short_.Read(other.c_str()));
    EXPECT_TRUE(one.IsLike(two));
    EXPECT_FALSE(one.IsLike(short_));
    EXPECT_EQ(one.Compare(two, 0), int(CSetupRecord::After));
    EXPECT_EQ(one.Compare(two, 1) + one.Compare(two, 2) + one.Compare(two, -1), int(CSetupRecord::Same));
    ASSERT_TRUE(record.Begin(File().c_str()));
    EXPECT_FALSE(record.Follow(first.c_str(), other.c_str()));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_DATA));
    ASSERT_TRUE(record.Follow(first.c_str(), again.c_str()));
    EXPECT_EQ(SetValue("Date", "another day"), 0);
    tagSETUP_CHANGE expected, found;
    EXPECT_FALSE(record.GetDeparture(expected, found));
    EXPECT_EQ(SetValue("Name", "other"), LSTATUS(CSetupRecord::ChangedSince));
    EXPECT_EQ(SetValue("Name", "same"), LSTATUS(CSetupRecord::ChangedSince)) << "nothing more after a departure";
    EXPECT_TRUE(record.GetDeparture(expected, found));
    EXPECT_STREQ(expected.sAfter, "REG_SZ same");
    EXPECT_STREQ(found.sAfter, "REG_SZ other");
    EXPECT_TRUE(record.Rollback());
}

TEST_F(SetupRecord, WhatWasSetIsComparedAndRepairedOnRecord) {
    CSetupRecord record, verified;
    ASSERT_TRUE(record.Begin(File().c_str()));
    EXPECT_EQ(SetValue("Old", "after"), 0);
    EXPECT_EQ(CreateKey("Made\\Deep"), 0);
    EXPECT_TRUE(changing::CreateDirectoryA((Folder() + "\\MADE").c_str(), nullptr));
    EXPECT_TRUE(record.Commit());
    const std::string file = File();
    const char* const files[] = {file.c_str()};
    ASSERT_TRUE(verified.Verify(files, 1));
    EXPECT_EQ(verified.LeftCount(), 0);
    SetText(HKEY_LOCAL_MACHINE, kKey, "Old", "foreign");
    DeleteKeyTree(HKEY_LOCAL_MACHINE, std::string(kKey) + "\\Made\\Deep");
    SetText(HKEY_LOCAL_MACHINE, std::string(kKey) + "\\Made", "Added", "x");
    RemoveDirectoryA((Folder() + "\\MADE").c_str());
    ASSERT_TRUE(verified.Verify(files, 1));
    std::string found;
    tagSETUP_CHANGE change;
    for (int i = 0; verified.GetLeft(i, change); ++i)
        found += static_cast<const char*>(change.sKind + ":" + change.sBefore + ">" + change.sAfter + " ");
    EXPECT_EQ(found, "value:REG_SZ after>REG_SZ foreign value:>REG_SZ x key:present> directory:present> ");
    CSetupRecord repair;
    EXPECT_FALSE(repair.Repair(verified, 0)) << "no record runs";
    ASSERT_TRUE(repair.Begin((Folder() + "\\REPAIR.REC").c_str()));
    for (int i = 0; i < verified.LeftCount(); ++i)
        EXPECT_TRUE(repair.Repair(verified, i)) << i << ' ' << GetLastError();
    EXPECT_FALSE(repair.Repair(verified, verified.LeftCount()));
    EXPECT_TRUE(repair.Commit());
    ASSERT_TRUE(verified.Verify(files, 1));
    EXPECT_EQ(verified.LeftCount(), 0);
    EXPECT_TRUE(repair.Recover((Folder() + "\\REPAIR.REC").c_str()));
    EXPECT_EQ(Text("Old"), "foreign") << "a repair is taken back like everything else";
}

// Whatever is in the file: the answer is an error, or what a shorter whole record tells; never a crash, and a refusal
// changes nothing.
TEST_F(SetupRecord, DamagedRecordsAreRefused) {
    CSetupRecord record;
    ASSERT_TRUE(record.Begin(File().c_str()));
    record.Mark("stage");
    ASSERT_EQ(SetValue("Old", "after"), 0);
    ASSERT_EQ(CreateKey("Made"), 0);
    ASSERT_TRUE(record.Commit());
    const std::string whole = ReadBytes(File());
    const std::string damaged = Folder() + "\\BAD.REC";
    const auto attempt = [&](const std::string& bytes) {
        WriteBytes(damaged, bytes);
        return record.Recover(damaged.c_str()) != 0;
    };
    for (std::size_t i = 0; i < whole.size(); i += 3) {
        std::string edited = whole;
        edited[i] = char(edited[i] ^ 0x41);
        // The last frame alone may count as not written to its end.
        const bool isTail = i + 40 > whole.size();
        if (!isTail) {
            EXPECT_FALSE(attempt(edited)) << i;
            EXPECT_EQ(Text("Old"), "after") << i;
        }
    }
    std::string random(1000, '\0');
    for (std::size_t i = 0; i < random.size(); ++i) random[i] = char(i * i * 31 + i / 7);
    for (const std::string& bytes : {std::string(), std::string("INSTALIB"), random, "INSTALIB RECORD\r\n" + random}) {
        EXPECT_FALSE(attempt(bytes));
    }
    EXPECT_FALSE(record.Recover((Folder() + "\\NONE.REC").c_str()));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Text("Old"), "after");
    EXPECT_TRUE(attempt(whole + "x")) << "a torn tail is dropped";
    EXPECT_EQ(Text("Old"), "before");
}

}  // namespace
