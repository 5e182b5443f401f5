// How the security functions report failure and hand buffers out.
#ifndef INSTALIB_EMBEDDED_CORE_MEMORY_H
#define INSTALIB_EMBEDDED_CORE_MEMORY_H

#include <algorithm>
#include <exception>
#include <new>
#include <span>
#include <string>

#include "platform/embedded/core/handles_table.h"

namespace embedded::security {

inline BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

// Runs what may use the store or need memory, for a function that nothing thrown may leave. 0 or a Windows error.
template <class Body>
DWORD Guarded(Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (const std::exception&) {
        return ERROR_BADDB;  // a damaged store
    }
}

// For a call that answers TRUE or FALSE: sets the last error and answers FALSE unless `error` is 0.
inline BOOL ThroughLastError(DWORD error) { return error == 0 ? TRUE : Fail(error); }

// A copy of the bytes, counted as `kind` until it is given back; null when there is no memory.
inline void* CopyOut(std::span<const BYTE> bytes, ResourceKind kind = ResourceKind::LocalMemory) {
    void* const memory = buffers::Allocate(kind, bytes.size());
    if (memory != nullptr) std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(memory));
    return memory;
}

// The same into a caller's pointer, for calls that report through the last error.
template <class Pointer>
BOOL HandOut(std::span<const BYTE> bytes, Pointer* result, ResourceKind kind = ResourceKind::LocalMemory) {
    void* const memory = CopyOut(bytes, kind);
    if (memory == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    *result = static_cast<Pointer>(memory);
    return TRUE;
}

inline BOOL HandOutText(const std::string& text, LPSTR* result) {
    return HandOut({reinterpret_cast<const BYTE*>(text.c_str()), text.size() + 1}, result);
}

// Into a caller's buffer of `size` bytes: stores what is needed, fails with ERROR_INSUFFICIENT_BUFFER when it does not
// fit.
inline BOOL FillBuffer(std::span<const BYTE> bytes, void* buffer, DWORD size, LPDWORD needed) {
    if (needed != nullptr) *needed = DWORD(bytes.size());
    if (buffer == nullptr || size < bytes.size()) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(buffer));
    return TRUE;
}

}  // namespace embedded::security

#endif
