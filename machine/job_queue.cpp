#include "instalib/job_queue.h"

#include "instalib/computer.h"
#include "instalib/path.h"
#include "instalib/registry.h"
#include "platform/product_libraries.h"

namespace {

constexpr char kQueueName[] = "AQ_HALV";
constexpr char kStorage[] = "00000001.QSD";  // a directory
constexpr DWORD kAlreadyThere = 0xFFFFFFFF;  // what the core library says of a queue that exists
constexpr DWORD kUnknownStatus = 2;
constexpr DWORD kFailure = 1;  // any status but 0 and the one above

// A path in the product's home directory, with exactly one backslash between; empty when the home directory is not
// known.
CString InHomeDirectory(const char* name) {
    // The keys' names are empty before the first object is built, and a path formed from them would be another's.
    if (CHalvRegistry::m_sKorvaultBaseKey.IsEmpty()) CHalvRegistry(1, nullptr);
    char home[MAX_PATH + 1] = "";
    DWORD size = MAX_PATH;
    if (!CHalvRegistry::GetKorvaultHomeDir(home, &size, nullptr) || home[0] == '\0') return CString();
    CString path(home);
    return AppendBackSlash(path) > 0 ? path + name : CString();
}

// Calls an entry point of the core library; the answer is `missing` when that cannot be had.
template <class Function, class... Arguments>
DWORD CallCore(DWORD missing, const char* entryPoint, Arguments... arguments) {
    const CString path = InHomeDirectory(product::kCoreLibrary);
    if (path.IsEmpty()) return missing;
    const LoadedLibrary library(LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    auto* const function = product::EntryPoint<Function>(library.Get(), entryPoint);
    return function == nullptr ? missing : function(arguments...);
}

}  // namespace

CJobQueue::CJobQueue() : m_nExists(QueueExists()) {}

int CJobQueue::Exists() const { return m_nExists; }

CString CJobQueue::GetPath() { return InHomeDirectory(kStorage); }

int CJobQueue::QueueExists() {
    const CString path = GetPath();
    return !path.IsEmpty() && CComputer::DirectoryExists(path);
}

int CJobQueue::DeleteQueue() {
    const CString path = GetPath();
    if (path.IsEmpty()) return 0;
    // The look-up goes on to an older generation when the current one cannot be read: its queue is not meant.
    const CString current = CHalvRegistry::m_sKorvaultBaseKey + "\\" + CHalvRegistry::m_sPathSubKey;
    RegistryKey key;
    LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, current, 0, KEY_READ, key.Receive());
    char home[MAX_PATH + 1] = "";
    DWORD size = MAX_PATH;
    if (status == ERROR_SUCCESS) {
        status = RegQueryValueExA(key.Get(), CHalvRegistry::m_sHome, nullptr, nullptr, reinterpret_cast<BYTE*>(home),
                                  &size);
    }
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return FailWith(DWORD(status));
    CString own(home);
    if (AppendBackSlash(own) > 0 && own + kStorage != path) return FailWith(ERROR_ACCESS_DENIED);
    return CComputer::DeleteTree(path);
}

int CJobQueue::CreateQueue(const char* text) {
    DWORD output = 0;
    const DWORD status =
        CallCore<product::CreateQueue>(kFailure, "QSICreateQueue", nullptr, kQueueName, DWORD(0), text, &output);
    return status == 0 || status == kAlreadyThere;
}

int CJobQueue::GetQueueJobs(const char* queue, DWORD first, tagQJOBITEM* items, DWORD size, DWORD* count,
                            tagQUEUEINFO* information) {
    return CallCore<product::GetQueueJobs>(kFailure, "QSIGetQJobItemList", queue, first, items, size, count,
                                           information) == 0;
}

DWORD CJobQueue::GetQueueJobStatus(DWORD status, DWORD result) {
    return CallCore<product::MapJobStatus>(kUnknownStatus, "QSIMapJobStatus", status, result);
}

int CJobQueue::AddQueueJob(const char* queue, const char* job, WORD type, const char* text, DWORD flags,
                           DWORD* number) {
    return CallCore<product::AddQueueJob>(kFailure, "KVAddQueueJob", queue, job, type, text, flags, number) == 0;
}

int CJobQueue::DeleteQueueJob(const char* queue, DWORD job, DWORD flags) {
    return CallCore<product::DeleteQueueJob>(kFailure, "QSIDeleteJob", queue, job, flags) == 0;
}

int CJobQueue::GetDefaultQueue(char* machine, char* queue, DWORD* number) {
    return CallCore<product::GetDefaultQueue>(kFailure, "KVGetDefaultQueue", machine, queue, number) == 0;
}
