// The setters that take their value from the object's settings and hand it to a static writer.

#include "changes/changing.h"
#include "instalib/computer.h"
#include "instalib/path.h"
#include "registry/account_request.h"
#include "registry/alert_library.h"
#include "registry/family_keys.h"
#include "registry/tool_library.h"

using namespace registry;

namespace {

// What time() answers, cut to 32 bits, by the machine's own clock.
DWORD SecondsSince1970() {
    constexpr unsigned long long kStepsPerSecond = 10'000'000, kSecondsTo1970 = 11'644'473'600;
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    const unsigned long long steps = static_cast<unsigned long long>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    return static_cast<DWORD>(steps / kStepsPerSecond - kSecondsTo1970);
}

CString WithoutLast(const CString& path) { return path.Left(path.GetLength() - 1); }

// Stored paths end in one backslash at most.
CString WithoutBackslash(CString path) {
    TrimTailBackSlash(path);
    return path;
}

// The file's date of last change in local time, as the locale writes dates.
int LocalDateOf(const char* path, CString& text) {
    WIN32_FIND_DATAA found{};
    const FindHandle find(FindFirstFileA(path, &found));
    if (!find) return 0;
    FILETIME local{};
    SYSTEMTIME time{};
    if (!FileTimeToLocalFileTime(&found.ftLastWriteTime, &local) || !FileTimeToSystemTime(&local, &time)) return 0;
    std::tm parts{};
    parts.tm_year = time.wYear - 1900;
    parts.tm_mon = time.wMonth - 1;
    parts.tm_mday = time.wDay;
    parts.tm_wday = time.wDayOfWeek;
    parts.tm_hour = time.wHour;
    parts.tm_min = time.wMinute;
    parts.tm_sec = time.wSecond;
    char date[64] = "";
    std::strftime(date, sizeof date, "%x", &parts);
    text = date;
    return 1;
}

}  // namespace

#define DRIVEN(Operation, Writer, argument) \
    int Operation() { return MayWrite() ? Writer(argument) : 0; }
#include "registry/settings_driven.def"
#undef DRIVEN

int CHalvRegistry::SetKorvaultUser() {
    if (!MayWrite()) return 0;
    if (*m_Settings.SystemAccountName() == '\0') return 1;
    CreateSystemAccount();
    return SetKorvaultUser(m_Settings.RegisteredUser());
}

// Its failures are logged and nothing more: the setup can name another account later.
int CHalvRegistry::CreateSystemAccount() {
    const LoadedLibrary library = LoadToolLibrary();
    if (!library) {
        LogLine(m_Settings.LogFile(), "\tFailed to load HSTOOL.DLL to create system user account.");
        return 0;
    }
    auto* const setAccount = product::EntryPoint<product::SetUserAccount>(library.Get(), "HstSetUserAccountA");
    if (setAccount == nullptr || !changing::Announce("HSTOOL.DLL, HstSetUserAccountA")) return 0;
    AccountRequest request(m_Settings);
    if (!request.Fits()) {
        LogLine(m_Settings.LogFile(), "\tFailed to add a user account: a name or the password is longer than 63 bytes");
        return FailWith(ERROR_INVALID_PARAMETER);
    }
    if (LOWORD(setAccount(request.server, &request.account)) != 0) return 1;
    LogLine(m_Settings.LogFile(), "\tFailed to add a user account");
    return 0;
}

int CHalvRegistry::SetKorvaultDatabase() {
    if (!MayWrite()) return 0;
    const int type = SetKorvaultDatabase(m_Settings.InstallDBType());
    const DWORD error = GetLastError();
    const int path = SetEnvironmentVariableA("CATPATH", m_Settings.KorvaultPath() + m_sDatabase);
    if (!type) SetLastError(error);
    return type && path;
}

int CHalvRegistry::SetKorvaultEnvironmentVariables() {
    if (!MayWrite()) return 0;
    const CComputer local;
    // A name that cannot be told must not become an empty one.
    if (*local.Name() == '\0') return 0;
    return SetEnvironmentVariableA("LNNAME", "KORVAULT") && SetEnvironmentVariableA("RNNAME", local.Name());
}

int CHalvRegistry::SetAlertCurrentBuild() {
    CString date;
    if (!MayWrite() || !LocalDateOf(CString(m_Settings.AlertPath()) + "ALERT.EXE", date)) return 0;
    return SetAlertCurrentBuild(date);
}

int CHalvRegistry::SetAlertControlDir() {
    char windows[MAX_PATH + 1] = "";
    if (!MayWrite() || GetWindowsDirectoryA(windows, sizeof windows) == 0) return 0;
    return SetAlertControlDir(windows);
}

int CHalvRegistry::SetAlertEventLog() {
    if (!MayWrite()) return 0;
    return SetEventLogApplication(m_sAlert, CString(m_Settings.AlertPath()) + "ALERT.EXE", 7);
}
