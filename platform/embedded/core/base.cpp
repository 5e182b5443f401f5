#include "platform/embedded/api/base.h"

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/handles_table.h"

using embedded::control::CallKind;
using embedded::control::ResourceKind;
namespace buffers = embedded::buffers;
namespace gate = embedded::gate;

namespace {

thread_local DWORD t_lastError = 0;
char g_processHeap;  // its address is the one heap's handle

void* AllocateOrFail(ResourceKind kind, SIZE_T bytes) {
    void* const memory = buffers::Allocate(kind, bytes);
    if (memory == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

}  // namespace

DWORD GetLastError() { return t_lastError; }
void SetLastError(DWORD error) { t_lastError = error; }

HLOCAL LocalAlloc(UINT, SIZE_T bytes) {
    if (gate::Refuses(CallKind::Memory, "LocalAlloc")) return nullptr;
    return AllocateOrFail(ResourceKind::LocalMemory, bytes);
}

HLOCAL LocalFree(HLOCAL memory) {
    if (memory == nullptr || buffers::Free(ResourceKind::LocalMemory, memory)) return nullptr;
    SetLastError(ERROR_INVALID_HANDLE);
    return memory;
}

HANDLE GetProcessHeap() { return &g_processHeap; }

LPVOID HeapAlloc(HANDLE heap, DWORD, SIZE_T bytes) {
    // HeapAlloc promises no last error; the machine sets it all the same, so that a fault is seen in one way.
    if (heap != &g_processHeap || gate::Refuses(CallKind::Memory, "HeapAlloc")) return nullptr;
    return AllocateOrFail(ResourceKind::HeapMemory, bytes);
}

BOOL HeapFree(HANDLE heap, DWORD, LPVOID memory) {
    if (memory == nullptr) return TRUE;
    if (heap == &g_processHeap && buffers::Free(ResourceKind::HeapMemory, memory)) return TRUE;
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

BOOL CloseHandle(HANDLE handle) {
    // One call closes every kind that Windows calls a kernel object.
    for (const ResourceKind kind :
         {ResourceKind::File, ResourceKind::Token, ResourceKind::Process, ResourceKind::Thread, ResourceKind::Mutex}) {
        if (embedded::handles::Close(handle, kind)) return !gate::Refuses(CallKind::System, "CloseHandle");
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}
