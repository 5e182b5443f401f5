// Owners of everything that must be given back. One template, one alias per way of giving back; library code closes no
// raw handle by hand. An owner keeps the thread's last-error value when it closes, on every path: destructor, Reset and
// move.
#ifndef INSTALIB_PLATFORM_HANDLES_H
#define INSTALIB_PLATFORM_HANDLES_H

#include <type_traits>
#include <utility>

#include "platform/platform.h"

template <class Traits>
class UniqueHandle {
  public:
    using Value = typename Traits::Value;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Value value) noexcept : m_value(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_value(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    Value Get() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return m_value != Traits::Invalid(); }
    [[nodiscard]] Value Release() noexcept { return std::exchange(m_value, Traits::Invalid()); }

    void Reset(Value value = Traits::Invalid()) noexcept {
        const Value old = std::exchange(m_value, value);
        if (old == Traits::Invalid() || old == value) return;
        const DWORD error = GetLastError();
        Traits::Close(old);
        SetLastError(error);
    }

    // For calls that hand a handle out through a pointer: closes the old one and takes what the call stores.
    Value* Receive() noexcept {
        Reset();
        return &m_value;
    }

  private:
    Value m_value = Traits::Invalid();
};

namespace handle_traits {

template <class Type, auto Function>
struct ClosedBy {
    using Value = Type;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept { Function(value); }
};

// CreateFile and FindFirstFile report failure as -1.
template <auto Function>
struct ClosedByInvalidIsMinusOne {
    using Value = HANDLE;
    static Value Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { Function(value); }
};

// Predefined roots may stand in an owner; they are not closed.
struct RegistryKeyTraits {
    using Value = HKEY;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept {
        if ((reinterpret_cast<ULONG_PTR>(value) & 0x80000000u) == 0) RegCloseKey(value);
    }
};

struct HeapBufferTraits {
    using Value = void*;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept { HeapFree(GetProcessHeap(), 0, value); }
};

struct PrivateDescriptorTraits {
    using Value = PSECURITY_DESCRIPTOR;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept { DestroyPrivateObjectSecurity(&value); }
};

}  // namespace handle_traits

using RegistryKey = UniqueHandle<handle_traits::RegistryKeyTraits>;
using FileHandle = UniqueHandle<handle_traits::ClosedByInvalidIsMinusOne<&CloseHandle>>;
using FindHandle = UniqueHandle<handle_traits::ClosedByInvalidIsMinusOne<&FindClose>>;
using KernelHandle = UniqueHandle<handle_traits::ClosedBy<HANDLE, &CloseHandle>>;  // tokens, processes, threads
using LoadedLibrary = UniqueHandle<handle_traits::ClosedBy<HMODULE, &FreeLibrary>>;
using ServiceHandle = UniqueHandle<handle_traits::ClosedBy<SC_HANDLE, &CloseServiceHandle>>;
using ServiceDatabaseLock = UniqueHandle<handle_traits::ClosedBy<SC_LOCK, &UnlockServiceDatabase>>;
using PolicyHandle = UniqueHandle<handle_traits::ClosedBy<LSA_HANDLE, &LsaClose>>;
using AllocatedSid = UniqueHandle<handle_traits::ClosedBy<PSID, &FreeSid>>;
using LocalBuffer = UniqueHandle<handle_traits::ClosedBy<HLOCAL, &LocalFree>>;
using NetBuffer = UniqueHandle<handle_traits::ClosedBy<LPVOID, &NetApiBufferFree>>;
using LsaBuffer = UniqueHandle<handle_traits::ClosedBy<PVOID, &LsaFreeMemory>>;
using HeapBuffer = UniqueHandle<handle_traits::HeapBufferTraits>;
using PrivateDescriptor = UniqueHandle<handle_traits::PrivateDescriptorTraits>;

// Sets the thread's last error and answers failure, for `return FailWith(ERROR_...)`.
[[nodiscard]] inline int FailWith(DWORD error) noexcept {
    SetLastError(error);
    return 0;
}

#endif
