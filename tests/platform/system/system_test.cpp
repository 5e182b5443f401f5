#include <ctime>
#include <thread>

#include "tests/support/fresh_machine.h"

namespace {

class SystemFacts : public FreshMachine {};

TEST_F(SystemFacts, VariableIsReadInAnyCaseMeasuredAndMayBeEmpty) {
    ASSERT_TRUE(SetEnvironmentVariableA("Instalib_Test", "12345"));
    char value[8];
    memset(value, '#', sizeof value);
    EXPECT_EQ(GetEnvironmentVariableA("INSTALIB_TEST", value, 6), 5u);
    EXPECT_STREQ(value, "12345");
    EXPECT_EQ(value[6], '#');
    EXPECT_EQ(GetEnvironmentVariableA("INSTALIB_TEST", value, 5), 6u) << "the size needed, with the terminator";
    EXPECT_EQ(GetEnvironmentVariableA("INSTALIB_TEST", nullptr, 0), 6u);
    ASSERT_TRUE(SetEnvironmentVariableA("INSTALIB_TEST", nullptr));
    EXPECT_TRUE(FailsWith(ERROR_ENVVAR_NOT_FOUND, GetEnvironmentVariableA("Instalib_Test", value, sizeof value)));
    ASSERT_TRUE(SetEnvironmentVariableA("INSTALIB_TEST", ""));
    SetLastError(0);
    EXPECT_TRUE(FailsWith(0u, GetEnvironmentVariableA("INSTALIB_TEST", value, sizeof value)));
    EXPECT_STREQ(value, "");
    SetEnvironmentVariableA("INSTALIB_TEST", nullptr);
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, SetEnvironmentVariableA("A=B", "x")));
    EXPECT_FALSE(SetEnvironmentVariableA("", "x"));
}

TEST_F(SystemFacts, NamesOfWindowsAndOfTheComputerAreKnown) {
    char windows[MAX_PATH] = "", value[MAX_PATH] = "", name[64] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    EXPECT_NE(GetEnvironmentVariableA("SystemRoot", value, sizeof value), 0u);
    EXPECT_STRCASEEQ(value, windows);
    EXPECT_NE(GetEnvironmentVariableA("windir", value, sizeof value), 0u);
    EXPECT_STRCASEEQ(value, windows) << "stored with %SystemRoot% in it";
    EXPECT_NE(GetEnvironmentVariableA("COMPUTERNAME", name, sizeof name), 0u);
    EXPECT_STRCASEEQ(name, ComputerName().c_str());
    char computer[MAX_COMPUTERNAME_LENGTH + 1] = "";
    DWORD size = sizeof computer;
    ASSERT_TRUE(GetComputerNameA(computer, &size));
    EXPECT_EQ(size, strlen(computer));
    DWORD tooSmall = size;
    EXPECT_TRUE(FailsWith(ERROR_BUFFER_OVERFLOW, GetComputerNameA(computer, &tooSmall)));
    EXPECT_GT(tooSmall, size);
}

TEST_F(SystemFacts, VersionFillsBothRecordsAndNoOther) {
    OSVERSIONINFOEXA full{};
    full.dwOSVersionInfoSize = sizeof full;
    ASSERT_TRUE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&full)));
    EXPECT_EQ(full.dwPlatformId, 2u);
    EXPECT_GE(full.dwMajorVersion, 6u);
    EXPECT_EQ(full.wProductType, 1) << "a workstation";
    OSVERSIONINFOA plain{};
    plain.dwOSVersionInfoSize = sizeof plain;
    ASSERT_TRUE(GetVersionExA(&plain));
    EXPECT_EQ(plain.dwBuildNumber, full.dwBuildNumber);
    plain.dwOSVersionInfoSize = sizeof plain - 1;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, GetVersionExA(&plain)));
}

class Processes : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        PlaceLibrary("REPORTER.EXE", Folder() + "\\REPORTER.EXE");
    }

    struct Started {
        KernelHandle process, thread;
        DWORD error = 0;
    };
    static Started Start(std::string line, const char* directory = nullptr, const char* program = nullptr) {
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION information{};
        Started started;
        SetLastError(0xdeadbeef);
        if (CreateProcessA(program, line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, directory,
                           &startup, &information)) {
            started.process.Reset(information.hProcess);
            started.thread.Reset(information.hThread);
        } else {
            started.error = GetLastError();
        }
        return started;
    }
    static DWORD ExitCode(const Started& started) {
        EXPECT_EQ(WaitForSingleObject(started.process.Get(), 30'000), WAIT_OBJECT_0);
        DWORD code = 0xdeadbeef;
        EXPECT_TRUE(GetExitCodeProcess(started.process.Get(), &code));
        return code;
    }
    // A line of the report: "name=value".
    static std::string Reported(const std::string& name) {
        const std::string report = '\n' + ReadBytes(Folder() + "\\REPORT.TXT");
        const std::size_t start = report.find('\n' + name + '=');
        if (start == report.npos) return "<no such line>";
        const std::size_t value = start + name.size() + 2;
        return report.substr(value, report.find('\n', value) - value);
    }
};

TEST_F(Processes, ChildSeesItsCommandLineProgramDirectoryAndVariables) {
    SetEnvironmentVariableA("REPORTER_VARIABLE", "of the parent");
    char temp[MAX_PATH] = "";
    GetEnvironmentVariableA("TEMP", temp, sizeof temp);
    SetEnvironmentVariableA("TEMP", nullptr);
    MakeFolder(Folder() + "\\Sub");
    const std::string line = Folder() + "\\REPORTER " + Folder() + "\\REPORT.TXT 7";
    const Started started = Start(line, (Folder() + "\\sub").c_str());
    SetEnvironmentVariableA("REPORTER_VARIABLE", nullptr);
    SetEnvironmentVariableA("TEMP", temp);
    ASSERT_EQ(started.error, 0u);
    EXPECT_EQ(ExitCode(started), 7u);
    EXPECT_THAT(Reported("line"), testing::EndsWith(Folder() + "\\REPORT.TXT 7"));
    EXPECT_STRCASEEQ(Reported("program").c_str(), (Folder() + "\\REPORTER.EXE").c_str());
    EXPECT_STRCASEEQ(Reported("directory").c_str(), (Folder() + "\\Sub").c_str());
    EXPECT_EQ(Reported("variable"), "of the parent");
    EXPECT_EQ(Reported("removed"), "<none>");
}

TEST_F(Processes, ProgramIsFoundInQuotesBlanksAndCurrentDirectory) {
    MakeFolder(Folder() + "\\With Blank");
    PlaceLibrary("REPORTER.EXE", Folder() + "\\With Blank\\My Reporter.exe");
    const std::string report = ' ' + Folder() + "\\REPORT.TXT 44";
    EXPECT_EQ(ExitCode(Start('"' + Folder() + "\\With Blank\\My Reporter.exe\"" + report)), 44u);
    EXPECT_EQ(ExitCode(Start(Folder() + "\\With Blank\\My Reporter" + report)), 44u) << "every blank may end the name";
    SetCurrentDirectoryA(Folder().c_str());
    EXPECT_EQ(ExitCode(Start("reporter" + report)), 44u);
    EXPECT_EQ(ExitCode(Start("x" + report, nullptr, "REPORTER.EXE")), 44u)
        << "the line's first word is not the program then";
}

TEST_F(Processes, ChildRunsUntilItsEndOrItsTermination) {
    const Started started = Start(Folder() + "\\REPORTER.EXE " + Folder() + "\\REPORT.TXT 5 300");
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(started.process.Get(), 0), DWORD(WAIT_TIMEOUT));
    EXPECT_TRUE(GetExitCodeProcess(started.process.Get(), &code));
    EXPECT_EQ(code, DWORD(STILL_ACTIVE));
    EXPECT_EQ(ExitCode(started), 5u);
    const Started killed = Start(Folder() + "\\REPORTER.EXE " + Folder() + "\\REPORT.TXT 5 30000");
    ASSERT_TRUE(TerminateProcess(killed.process.Get(), 0x12345));
    EXPECT_EQ(ExitCode(killed), 0x12345u);
}

TEST_F(Processes, WhatCannotStartSaysWhy) {
    WriteBytes(Folder() + "\\RUBBISH.EXE", "this is no program");
    EXPECT_EQ(Start(Folder() + "\\RUBBISH.EXE").error, DWORD(ERROR_BAD_EXE_FORMAT));
    EXPECT_EQ(Start(Folder() + "\\NONE.EXE").error, DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Start(Folder() + "\\REPORTER.EXE", "C:\\NoSuchFolder").error, DWORD(ERROR_DIRECTORY));
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
}

constexpr char kMutex[] = "InstalibTestMutex";

DWORD TryFromAnotherThread() {
    DWORD result = 0;
    std::thread([&] {
        const KernelHandle mutex(CreateMutexA(nullptr, TRUE, kMutex));
        result = WaitForSingleObject(mutex.Get(), 0);
        if (result == WAIT_OBJECT_0) ReleaseMutex(mutex.Get());
    }).join();
    return result;
}

TEST_F(Processes, MutexIsOwnedByOneThreadAsOftenAsItTookIt) {
    SetLastError(0xdeadbeef);
    const KernelHandle mutex(CreateMutexA(nullptr, TRUE, kMutex));
    EXPECT_EQ(GetLastError(), 0u) << "new";
    const KernelHandle second(CreateMutexA(nullptr, TRUE, kMutex));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(TryFromAnotherThread(), DWORD(WAIT_TIMEOUT));
    EXPECT_EQ(WaitForSingleObject(second.Get(), 0), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
    EXPECT_EQ(TryFromAnotherThread(), DWORD(WAIT_TIMEOUT)) << "taken twice, released once";
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
    EXPECT_EQ(TryFromAnotherThread(), WAIT_OBJECT_0);
    EXPECT_TRUE(FailsWith(ERROR_NOT_OWNER, ReleaseMutex(mutex.Get())));
}

TEST_F(Processes, MutexGoesWithItsLastHandle) {
    { const KernelHandle mutex(CreateMutexA(nullptr, FALSE, kMutex)); }
    SetLastError(0xdeadbeef);
    const KernelHandle again(CreateMutexA(nullptr, FALSE, kMutex));
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(Processes, MutexHoldsBetweenProcessesAndIsAbandonedByADeadOne) {
    const Started holder = Start(Folder() + "\\REPORTER.EXE " + Folder() + "\\REPORT.TXT 0 hold " + kMutex);
    ASSERT_EQ(holder.error, 0u);
    for (int i = 0; i < 500 && !FileExists(Folder() + "\\REPORT.TXT"); ++i) Sleep(20);
    const KernelHandle mutex(CreateMutexA(nullptr, TRUE, kMutex));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(WaitForSingleObject(mutex.Get(), 0), DWORD(WAIT_TIMEOUT));
    TerminateProcess(holder.process.Get(), 1);
    EXPECT_EQ(WaitForSingleObject(mutex.Get(), 10'000), DWORD(WAIT_ABANDONED));
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
    EXPECT_EQ(WaitForSingleObject(mutex.Get(), 0), WAIT_OBJECT_0);
}

TEST_F(SystemFacts, MessagesAreLinesOfText) {
    char text[64] = "";
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    const DWORD length = FormatMessageA(flags, nullptr, ERROR_ACCESS_DENIED, 0, text, sizeof text, nullptr);
    EXPECT_EQ(length, strlen(text));
    EXPECT_THAT(text, testing::EndsWith("\r\n"));
    EXPECT_TRUE(
        FailsWith(ERROR_INSUFFICIENT_BUFFER, FormatMessageA(flags, nullptr, ERROR_ACCESS_DENIED, 0, text, 5, nullptr)));
    EXPECT_TRUE(
        FailsWith(ERROR_MR_MID_NOT_FOUND, FormatMessageA(flags, nullptr, 0x2FFFFFFF, 0, text, sizeof text, nullptr)));
}

TEST_F(SystemFacts, MessageCanBeAllocated) {
    LocalBuffer text;
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_ALLOCATE_BUFFER;
    const DWORD length = FormatMessageA(flags, nullptr, ERROR_FILE_NOT_FOUND, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        reinterpret_cast<char*>(text.Receive()), 0, nullptr);
    ASSERT_NE(length, 0u);
    EXPECT_EQ(strlen(static_cast<const char*>(text.Get())), length);
}

TEST_F(SystemFacts, TextIsConvertedInTheAnsiCodePageAndRefusedWhereItDoesNotFit) {
    ASSERT_EQ(GetACP(), 1252u);
    WCHAR wide[8];
    memset(wide, '#', sizeof wide);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "\x80z\xFC", -1, wide, 8), 4) << "with the terminator";
    EXPECT_EQ(wide[0], 0x20AC);
    EXPECT_EQ(wide[2], 0x00FC);
    EXPECT_EQ(wide[3], 0);
    char narrow[8] = "";
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, 3, narrow, 8, nullptr, nullptr), 3);
    EXPECT_EQ(std::string(narrow, 3), "\x80z\xFC");
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "12345", 5, nullptr, 0), 5);
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, MultiByteToWideChar(CP_ACP, 0, "12345", 5, wide, 4)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, MultiByteToWideChar(CP_ACP, 0, "12345", 0, wide, 4)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, MultiByteToWideChar(54321, 0, "1", 1, wide, 4)));
}

TEST_F(SystemFacts, PagesConvertBothWaysAndReplaceWhatHasNoForm) {
    const WCHAR wide[] = {'a', 0x65E5, 'b', 0};
    char narrow[8] = "";
    BOOL replaced = FALSE;
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 8, nullptr, &replaced), 4);
    EXPECT_STREQ(narrow, "a?b");
    EXPECT_TRUE(replaced);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 8, "*", &replaced), 4);
    EXPECT_STREQ(narrow, "a*b");
    const WCHAR kanji[] = {'x', 0x8868, 0};  // its second byte in 932 is a backslash
    EXPECT_EQ(WideCharToMultiByte(932, 0, kanji, -1, narrow, 8, nullptr, nullptr), 4);
    EXPECT_STREQ(narrow, "x\x95\\");
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, kanji, -1, narrow, 8, nullptr, nullptr), 5);
    EXPECT_STREQ(narrow, "x\xE8\xA1\xA8");
    WCHAR back[8] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, narrow, -1, back, 8), 3);
    EXPECT_EQ(back[1], kanji[1]);
    EXPECT_TRUE(FailsWith(ERROR_NO_UNICODE_TRANSLATION,
                          MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", -1, back, 8)));
}

struct Moment {
    const char* name;
    SYSTEMTIME time;
    std::uint64_t steps;
};

class Moments : public testing::TestWithParam<Moment> {};

TEST_P(Moments, ConvertBothWays) {
    const auto& [name, time, steps] = GetParam();
    FILETIME file{};
    ASSERT_TRUE(SystemTimeToFileTime(&time, &file));
    EXPECT_EQ(std::uint64_t(file.dwHighDateTime) << 32 | file.dwLowDateTime, steps);
    SYSTEMTIME back{};
    ASSERT_TRUE(FileTimeToSystemTime(&file, &back));
    EXPECT_EQ(memcmp(&back, &time, sizeof back), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, Moments,
                         testing::Values(Moment{"Epoch", {1601, 1, 1, 1, 0, 0, 0, 0}, 0},
                                         Moment{"Unix", {1970, 1, 4, 1, 0, 0, 0, 0}, 116444736000000000u},
                                         Moment{"LeapDay", {2024, 2, 4, 29, 23, 59, 58, 999}, 133537247989990000u}),
                         kCaseName);

TEST(MomentsThatAreNone, AreRefused) {
    FILETIME file{};
    for (const SYSTEMTIME& time : {SYSTEMTIME{2023, 4, 0, 31, 0, 0, 0, 0}, SYSTEMTIME{2023, 1, 0, 1, 24, 0, 0, 0},
                                   SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0}, SYSTEMTIME{2023, 13, 0, 1, 0, 0, 0, 0}}) {
        EXPECT_FALSE(SystemTimeToFileTime(&time, &file)) << time.wYear << '-' << time.wMonth << '-' << time.wDay;
    }
    SYSTEMTIME time{};
    const FILETIME beyond{0, 0x80000000};
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, FileTimeToSystemTime(&beyond, &time)));
}

TEST_F(SystemFacts, LocalTimeIsTheClocksInTheLocalZone) {
    FILETIME now{}, local{};
    SYSTEMTIME fromFile{}, direct{};
    GetSystemTimeAsFileTime(&now);
    GetLocalTime(&direct);
    ASSERT_TRUE(FileTimeToLocalFileTime(&now, &local));
    ASSERT_TRUE(FileTimeToSystemTime(&local, &fromFile));
    EXPECT_EQ(fromFile.wHour, direct.wHour);
    EXPECT_EQ(fromFile.wDay, direct.wDay);
    const std::uint64_t seconds =
        (std::uint64_t(now.dwHighDateTime) << 32 | now.dwLowDateTime) / 10'000'000 - 11'644'473'600;
    EXPECT_NEAR(double(seconds), double(std::time(nullptr)), 2.0);
}

}  // namespace
