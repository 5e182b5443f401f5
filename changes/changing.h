// The door for changes: every call by which the library changes the machine, under Windows' own name and with its
// parameters and results. Nothing above changes/ makes such a call otherwise; ./dev lint checks it.
//
// While no record runs, a call costs one relaxed load more. While one runs, its objects and how they were are in the
// record's file before the call is made, and how they are afterwards follows; what cannot be recorded is refused with
// the error that kept it from being recorded. See include/instalib/setup_record.h.
//
// Logs (the setup log, the upgrade log, status files) are no changes on record: they tell of a setup, also of one that
// was taken back.
#ifndef INSTALIB_CHANGES_CHANGING_H
#define INSTALIB_CHANGES_CHANGING_H

#include <atomic>
#include <cerrno>
#include <new>

#include "changes/recorder.h"
#include "changes/subjects.h"
#include "platform/lsa_accounts.h"
#include "platform/platform.h"

namespace changing {

namespace door {

extern std::atomic<bool> recording;

// How a call reports failure.
enum class Reports { LastError, Status, NtStatus, Errno };

template <Reports reports, class Result>
Result Fail(DWORD error) {
    if constexpr (reports == Reports::Status) return Result(error);
    // Of the failures that a record adds only this one is the authority's own.
    if constexpr (reports == Reports::NtStatus) return Result(0xC0000022);  // STATUS_ACCESS_DENIED
    SetLastError(error);
    if constexpr (reports == Reports::Errno) {
        errno = EACCES;
        return Result(-1);
    }
    return Result{};
}

template <Reports reports, class Result>
DWORD ErrorOf(Result result) {
    if constexpr (reports == Reports::Status || reports == Reports::NtStatus) return DWORD(result);
    if constexpr (reports == Reports::Errno) return result == 0 ? 0 : GetLastError();
    return result ? 0 : GetLastError();
}

template <Reports reports, class Result, class Call>
Result Recorded(changes::Subjects& subjects, Call call) {
    if (subjects.Error() != 0) return Fail<reports, Result>(subjects.Error());
    std::vector<changes::Step> steps = subjects.Take();
    if (steps.empty()) return call();
    changes::Recorder& recorder = changes::Recorder::The();
    if (const DWORD error = recorder.Start(std::move(steps))) return Fail<reports, Result>(error);
    const DWORD before = GetLastError();
    const Result result = call();
    const DWORD error = GetLastError();
    const int number = errno;
    recorder.Finish(ErrorOf<reports>(result));
    errno = number;
    SetLastError(reports == Reports::LastError || reports == Reports::Errno ? error : before);
    return result;
}

struct NothingLearned {
    template <class... Arguments>
    void operator()(Arguments&&...) const {}
};

// One call: the function itself, how it fails, what it changes, and what is learned of its handles.
template <auto Function, Reports reports, auto Describe, class Learn = NothingLearned, class Type = decltype(Function)>
class Call;

template <auto Function, Reports reports, auto Describe, class Learn, class Result, class... Arguments>
class Call<Function, reports, Describe, Learn, Result(WINAPI*)(Arguments...)> {
  public:
    Result operator()(Arguments... arguments) const {
        if (!recording.load(std::memory_order_relaxed)) [[likely]]
            return Function(arguments...);
        try {
            changes::Subjects subjects;
            const DWORD error = GetLastError();
            Describe(subjects, arguments...);
            SetLastError(error);
            const Result result = Recorded<reports, Result>(subjects, [&] { return Function(arguments...); });
            Learn{}(result, arguments...);
            return result;
        } catch (const std::bad_alloc&) {
            return Fail<reports, Result>(ERROR_NOT_ENOUGH_MEMORY);
        }
    }
};

namespace subjects = changes::subjects;
using enum Reports;

// A file that is deleted on record is moved to where it is kept.
BOOL DeleteFileKeeping(LPCSTR name);
// The C runtime's calls have a convention of their own on 32-bit Windows; this one has Windows'.
inline int WINAPI RuntimeRmdir(const char* path) { return ::_rmdir(path); }

}  // namespace door

// Registry.
inline constexpr door::Call<&::RegCreateKeyExA, door::Status, &door::subjects::CreateKey> RegCreateKeyExA;
inline constexpr door::Call<&::RegDeleteKeyA, door::Status, &door::subjects::DeleteKey> RegDeleteKeyA;
inline constexpr door::Call<&::RegDeleteKeyExA, door::Status, &door::subjects::DeleteKeyEx> RegDeleteKeyExA;
inline constexpr door::Call<&::RegSetValueExA, door::Status, &door::subjects::SetValue> RegSetValueExA;
inline constexpr door::Call<&::RegDeleteValueA, door::Status, &door::subjects::DeleteValue> RegDeleteValueA;
inline constexpr door::Call<&::RegSetKeySecurity, door::Status, &door::subjects::SetKeySecurity> RegSetKeySecurity;
inline constexpr door::Call<&::SetSecurityInfo, door::Status, &door::subjects::SetSecurity> SetSecurityInfo;

// Services. Opening one teaches the name behind the handle.
inline constexpr door::Call<&::OpenServiceA, door::LastError, &door::subjects::Nothing<SC_HANDLE, LPCSTR, DWORD>,
                            door::subjects::LearnService>
    OpenServiceA;
inline constexpr door::Call<&::CreateServiceA, door::LastError, &door::subjects::CreateService,
                            door::subjects::LearnService>
    CreateServiceA;
inline constexpr door::Call<&::ChangeServiceConfigA, door::LastError, &door::subjects::ChangeService>
    ChangeServiceConfigA;
inline constexpr door::Call<&::ChangeServiceConfig2A, door::LastError, &door::subjects::ChangeService2>
    ChangeServiceConfig2A;
inline constexpr door::Call<&::DeleteService, door::LastError, &door::subjects::DeleteService> DeleteService;
inline constexpr door::Call<&::StartServiceA, door::LastError, &door::subjects::StartService> StartServiceA;
inline constexpr door::Call<&::ControlService, door::LastError, &door::subjects::ControlService> ControlService;

// Files and directories.
inline constexpr door::Call<&::CreateDirectoryA, door::LastError, &door::subjects::CreateDirectory> CreateDirectoryA;
inline constexpr door::Call<&::RemoveDirectoryA, door::LastError, &door::subjects::RemoveDirectory> RemoveDirectoryA;
inline constexpr door::Call<&door::RuntimeRmdir, door::Errno, &door::subjects::RemoveDirectory> _rmdir;
inline BOOL DeleteFileA(LPCSTR name) {
    return door::recording.load(std::memory_order_relaxed) ? door::DeleteFileKeeping(name) : ::DeleteFileA(name);
}
inline constexpr door::Call<&::SetFileAttributesA, door::LastError, &door::subjects::SetAttributes> SetFileAttributesA;
inline constexpr door::Call<&::SetFileSecurityA, door::LastError, &door::subjects::SetFileSecurity> SetFileSecurityA;
inline constexpr door::Call<&::WritePrivateProfileStringA, door::LastError, &door::subjects::WriteProfileString>
    WritePrivateProfileStringA;
inline constexpr door::Call<&::WritePrivateProfileSectionA, door::LastError, &door::subjects::WriteProfileSection>
    WritePrivateProfileSectionA;

// Accounts, rights, shares.
inline constexpr door::Call<&::NetUserAdd, door::Status, &door::subjects::AddUser> NetUserAdd;
inline constexpr door::Call<&::NetUserDel, door::Status, &door::subjects::DeleteUser> NetUserDel;
inline constexpr door::Call<&::NetLocalGroupAddMembers, door::Status, &door::subjects::Members> NetLocalGroupAddMembers;
inline constexpr door::Call<&::NetLocalGroupDelMembers, door::Status, &door::subjects::Members> NetLocalGroupDelMembers;
inline constexpr door::Call<
    &::LsaOpenPolicy, door::NtStatus,
    &door::subjects::Nothing<PLSA_UNICODE_STRING, PLSA_OBJECT_ATTRIBUTES, ACCESS_MASK, PLSA_HANDLE>,
    door::subjects::LearnPolicy>
    LsaOpenPolicy;
inline constexpr door::Call<&::LsaOpenAccount, door::NtStatus,
                            &door::subjects::Nothing<LSA_HANDLE, PSID, ACCESS_MASK, PLSA_HANDLE>,
                            door::subjects::LearnAccount>
    LsaOpenAccount;
inline constexpr door::Call<&::LsaCreateAccount, door::NtStatus, &door::subjects::CreateAccount,
                            door::subjects::LearnAccount>
    LsaCreateAccount;
inline constexpr door::Call<&::LsaSetSystemAccessAccount, door::NtStatus, &door::subjects::SetSystemAccess>
    LsaSetSystemAccessAccount;
inline constexpr door::Call<&::LsaAddPrivilegesToAccount, door::NtStatus, &door::subjects::AddPrivileges>
    LsaAddPrivilegesToAccount;
inline constexpr door::Call<&::LsaRemovePrivilegesFromAccount, door::NtStatus, &door::subjects::RemovePrivileges>
    LsaRemovePrivilegesFromAccount;
inline constexpr door::Call<&::NetShareAdd, door::Status, &door::subjects::AddShare> NetShareAdd;
inline constexpr door::Call<&::NetShareSetInfo, door::Status, &door::subjects::SetShare> NetShareSetInfo;
inline constexpr door::Call<&::NetShareDel, door::Status, &door::subjects::DeleteShare> NetShareDel;

// Others, who change what they like.
inline constexpr door::Call<&::SetEnvironmentVariableA, door::LastError, &door::subjects::SetEnvironment>
    SetEnvironmentVariableA;
inline constexpr door::Call<&::CreateProcessA, door::LastError, &door::subjects::StartProgram> CreateProcessA;
// Before a product library is asked to change the machine: what it is asked for stands in the record as something that
// cannot be taken back. False, with the last error, when it could not be recorded: then it must not be asked.
bool Announce(const char* what);

}  // namespace changing

#endif
