#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

#include "platform/embedded/api/modules.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/modules/builtin.h"
#include "platform/embedded/modules/modules.h"
#include "platform/embedded/modules/search.h"

namespace fs = std::filesystem;
namespace gate = embedded::gate;
using embedded::control::CallKind;

namespace embedded::modules {
namespace {

struct HostLibraryCloser {
    void operator()(void* library) const { dlclose(library); }
};
using HostLibrary = std::unique_ptr<void, HostLibraryCloser>;

struct Module {
    std::string path;
    fs::path host;        // empty for a module that Windows has loaded from its start
    HostLibrary library;  // null for a module without code of the host
    const builtin::Module* builtin = nullptr;
    bool isData = false;
    unsigned loads = 0;
};

struct Table {
    std::mutex mutex;
    std::map<HMODULE, Module> modules;
    // Where Windows puts modules: a stale handle is never a new module's, and none is a small number.
    std::uintptr_t next = 0x7FF0'0000'0000;
};

Table& TheTable() {
    static Table* const table = new Table;
    return *table;
}

HMODULE Insert(Table& table, Module module) {
    constexpr std::uintptr_t kDataMark = 2;  // Windows marks handles of data files in their low bits
    const auto handle = reinterpret_cast<HMODULE>(table.next | (module.isData ? kDataMark : 0));
    table.next += 0x10000;
    table.modules.emplace(handle, std::move(module));
    return handle;
}

HMODULE CountLoad(Table& table, HMODULE handle) {
    ++table.modules.at(handle).loads;
    handles::Count(ResourceKind::Module, 1);
    return handle;
}

template <class Predicate>
HMODULE FindIf(const Table& table, Predicate matches) {
    for (const auto& [handle, module] : table.modules) {
        if (!module.isData && matches(module)) return handle;
    }
    return nullptr;
}

HMODULE FindByName(const Table& table, std::string_view name) {
    return FindIf(table, [name](const Module& module) { return text::EqualNoCase(BaseName(module.path), name); });
}

HMODULE FindByFile(const Table& table, const fs::path& host) {
    return FindIf(table, [&host](const Module& module) { return module.host == host; });
}

const builtin::Module* KnownModule(std::string_view name) {
    const builtin::Module* const found = builtin::Find(name);
    return found != nullptr && found->isKnown && !builtin::IsHidden(*found) ? found : nullptr;
}

// The handle of a module that every program has loaded; made when it is first asked for.
HMODULE KnownHandle(Table& table, const builtin::Module& known) {
    if (const HMODULE handle = FindByName(table, known.name)) return handle;
    Module module;
    module.path = SystemDirectory() + '\\' + known.name;
    module.builtin = &known;
    return Insert(table, std::move(module));
}

// The built-in module whose file in the system directory this is.
const builtin::Module* BuiltinAt(const FoundFile& file) {
    const std::string_view path = file.path, name = BaseName(path);
    const builtin::Module* const found = builtin::Find(name);
    if (found == nullptr) return nullptr;
    return text::EqualNoCase(path.substr(0, path.size() - name.size()), SystemDirectory() + '\\') ? found : nullptr;
}

// Makes the file ready as a module; 0 or the Windows error.
DWORD Prepare(const FoundFile& file, Module& module) {
    module.path = file.path;
    module.host = file.host;
    const FileFormat format = FormatOf(file.host);
    const builtin::Module* const builtin = BuiltinAt(file);
    if (builtin != nullptr && builtin::IsHidden(*builtin)) return ERROR_MOD_NOT_FOUND;
    if (module.isData) return format == FileFormat::Unknown ? ERROR_BAD_EXE_FORMAT : 0;
    if (format == FileFormat::HostBinary) {
        module.library.reset(dlopen(file.host.c_str(), RTLD_NOW | RTLD_LOCAL));
        return module.library ? 0 : ERROR_BAD_EXE_FORMAT;
    }
    module.builtin = builtin;
    return format == FileFormat::Windows ? 0 : ERROR_BAD_EXE_FORMAT;
}

// A module that is loaded already or known to every program.
HMODULE LoadAgain(const std::string& name) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    if (HasFolder(name)) return nullptr;
    const builtin::Module* const known = KnownModule(name);
    const HMODULE handle = known != nullptr ? KnownHandle(table, *known) : FindByName(table, name);
    return handle == nullptr ? nullptr : CountLoad(table, handle);
}

HMODULE Load(const std::string& name, bool isData) {
    if (!isData) {
        if (const HMODULE again = LoadAgain(name)) return again;
    }
    const std::optional<FoundFile> file = Search(name, Purpose::Module);
    Module module;
    module.isData = isData;
    // The library's own start-up code runs here and may load modules itself: the table is not locked.
    const DWORD error = file ? Prepare(*file, module) : ERROR_MOD_NOT_FOUND;
    if (error != 0) {
        SetLastError(error);
        return nullptr;
    }
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const HMODULE loaded = isData ? nullptr : FindByFile(table, file->host);
    return CountLoad(table, loaded != nullptr ? loaded : Insert(table, std::move(module)));
}

bool Unload(HMODULE handle) {
    Table& table = TheTable();
    Module last;  // its library's shut-down code runs behind the lock
    const std::lock_guard lock(table.mutex);
    const auto found = table.modules.find(handle);
    if (found == table.modules.end()) return false;
    Module& module = found->second;
    if (module.loads == 0) return true;  // known to every program, and never unloaded
    handles::Count(ResourceKind::Module, -1);
    if (--module.loads != 0 || (module.builtin != nullptr && module.builtin->isKnown)) return true;
    last = std::move(module);
    table.modules.erase(found);
    return true;
}

// The symbol of the library itself; one of a library that it depends on is no entry point of it.
FARPROC OwnSymbol(void* library, const char* name) {
    void* const symbol = dlsym(library, name);
    link_map* map = nullptr;
    Dl_info info{};
    if (symbol == nullptr || dladdr(symbol, &info) == 0 || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) return nullptr;
    if (info.dli_fbase != reinterpret_cast<void*>(map->l_addr)) return nullptr;
    return reinterpret_cast<FARPROC>(symbol);
}

}  // namespace

FARPROC Address(HMODULE handle, const char* name, WORD ordinal, DWORD& error) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.modules.find(handle);
    error = found == table.modules.end() || found->second.isData ? ERROR_MOD_NOT_FOUND : ERROR_PROC_NOT_FOUND;
    if (error == ERROR_MOD_NOT_FOUND) return nullptr;
    const Module& module = found->second;
    if (module.builtin != nullptr) return builtin::Address(*module.builtin, name, ordinal);
    if (!module.library) return nullptr;
    return OwnSymbol(module.library.get(), name != nullptr ? name : ("Ordinal" + std::to_string(ordinal)).c_str());
}

HMODULE ProgramHandle() { return reinterpret_cast<HMODULE>(std::uintptr_t(0x7FF7'0000'0000)); }

HMODULE HandleOf(const std::string& name) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    if (HasFolder(name)) {
        const std::string path = FullPath(name);
        return FindIf(table, [&path](const Module& module) { return text::EqualNoCase(module.path, path); });
    }
    const builtin::Module* const known = KnownModule(name);
    if (known != nullptr) return KnownHandle(table, *known);
    if (const HMODULE loaded = FindByName(table, name)) return loaded;
    return text::EqualNoCase(BaseName(process::Program()), name) ? ProgramHandle() : nullptr;
}

std::optional<std::string> PathOf(HMODULE handle) {
    if (handle == nullptr || handle == ProgramHandle()) return process::Program();
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.modules.find(handle);
    if (found == table.modules.end() || found->second.isData) return std::nullopt;
    return found->second.path;
}

std::optional<std::string> NameOf(HMODULE handle) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.modules.find(handle);
    if (found == table.modules.end()) return std::nullopt;
    return std::string(BaseName(found->second.path));
}

}  // namespace embedded::modules

namespace modules = embedded::modules;

HMODULE LoadLibraryA(LPCSTR name) {
    if (gate::Refuses(CallKind::Module, "LoadLibraryA")) return nullptr;
    return modules::Load(modules::WithExtension(name == nullptr ? "" : name, ".DLL"), false);
}

HMODULE LoadLibraryExA(LPCSTR name, HANDLE file, DWORD flags) {
    if (gate::Refuses(CallKind::Module, "LoadLibraryExA")) return nullptr;
    if (file != nullptr || name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return modules::Load(modules::WithExtension(name, ".DLL"), (flags & LOAD_LIBRARY_AS_DATAFILE) != 0);
}

BOOL FreeLibrary(HMODULE module) {
    if (!modules::Unload(module)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    return !gate::Refuses(CallKind::Module, "FreeLibrary");
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    if (gate::Refuses(CallKind::Module, "GetProcAddress")) return nullptr;
    const auto number = reinterpret_cast<ULONG_PTR>(name);
    const bool isOrdinal = number <= 0xFFFF;
    DWORD error = 0;
    const FARPROC address =
        modules::Address(module, isOrdinal ? nullptr : name, isOrdinal ? WORD(number) : WORD(0), error);
    if (address == nullptr) SetLastError(error);
    return address;
}

HMODULE GetModuleHandleA(LPCSTR name) {
    if (gate::Refuses(CallKind::Module, "GetModuleHandleA")) return nullptr;
    if (name == nullptr) return modules::ProgramHandle();
    const HMODULE handle = modules::HandleOf(modules::WithExtension(name, ".DLL"));
    if (handle == nullptr) SetLastError(ERROR_MOD_NOT_FOUND);
    return handle;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD capacity) {
    if (gate::Refuses(CallKind::Module, "GetModuleFileNameA")) return 0;
    const std::optional<std::string> found = modules::PathOf(module);
    if (!found) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    const std::size_t length = std::min<std::size_t>(found->size(), capacity == 0 ? 0 : capacity - 1);
    if (capacity != 0) path[found->copy(path, length)] = '\0';
    // Success clears the last error, as Windows does from Vista on.
    SetLastError(found->size() < capacity ? 0 : ERROR_INSUFFICIENT_BUFFER);
    return found->size() < capacity ? DWORD(length) : capacity;
}
