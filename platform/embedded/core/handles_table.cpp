#include "platform/embedded/core/handles_table.h"

#include <array>
#include <cstdlib>
#include <mutex>
#include <unordered_map>

namespace embedded {
namespace {

constexpr std::size_t kKinds = std::size_t(ResourceKind::Count);

struct Entry {
    std::shared_ptr<HandleObject> object;
    bool counts;
};

struct Table {
    std::mutex mutex;
    std::unordered_map<const void*, Entry> handles;
    std::unordered_map<void*, ResourceKind> memory;
    std::array<std::size_t, kKinds> open{};
    std::uintptr_t next = 0x100;
};

Table& TheTable() {
    // Never destroyed: the destructors of a program's own objects may still close handles at its end.
    static Table* const table = new Table;
    return *table;
}

constexpr const char* kKindNames[kKinds] = {"Key",         "File",      "Find",         "Module",     "Token",
                                            "Process",     "Thread",    "Mutex",        "Manager",    "Service",
                                            "ServiceLock", "Policy",    "LocalMemory",  "HeapMemory", "NetBuffer",
                                            "Sid",         "LsaMemory", "PrivateObject"};

}  // namespace

namespace handles {
namespace {

void* Insert(std::shared_ptr<HandleObject> object, bool counts) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    void* const handle = reinterpret_cast<void*>(table.next);
    table.next += 4;
    if (counts) ++table.open[std::size_t(object->Kind())];
    table.handles.emplace(handle, Entry{std::move(object), counts});
    return handle;
}

}  // namespace

void* Add(std::shared_ptr<HandleObject> object) { return Insert(std::move(object), true); }
void* AddUncounted(std::shared_ptr<HandleObject> object) { return Insert(std::move(object), false); }

std::shared_ptr<HandleObject> Find(const void* handle) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.handles.find(handle);
    return found == table.handles.end() ? nullptr : found->second.object;
}

bool Close(const void* handle, ResourceKind kind) {
    Table& table = TheTable();
    std::shared_ptr<HandleObject> object;  // outlives the lock: its destructor may use the table
    const std::lock_guard lock(table.mutex);
    const auto found = table.handles.find(handle);
    if (found == table.handles.end() || found->second.object->Kind() != kind) return false;
    object = std::move(found->second.object);
    if (found->second.counts) --table.open[std::size_t(kind)];
    table.handles.erase(found);
    return true;
}

void Count(ResourceKind kind, int change) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    table.open[std::size_t(kind)] += std::size_t(change);
}

}  // namespace handles

namespace buffers {

void* Allocate(ResourceKind kind, SIZE_T bytes) {
    constexpr SIZE_T kAbsurd = SIZE_T(1) << 40;
    if (bytes > kAbsurd) return nullptr;
    void* const memory = std::calloc(1, bytes == 0 ? 1 : bytes);
    if (memory == nullptr) return nullptr;
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    table.memory.emplace(memory, kind);
    ++table.open[std::size_t(kind)];
    return memory;
}

bool Free(ResourceKind kind, void* memory) {
    Table& table = TheTable();
    {
        const std::lock_guard lock(table.mutex);
        const auto found = table.memory.find(memory);
        if (found == table.memory.end() || found->second != kind) return false;
        table.memory.erase(found);
        --table.open[std::size_t(kind)];
    }
    std::free(memory);
    return true;
}

}  // namespace buffers

namespace control {

std::size_t OpenCount(ResourceKind kind) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    return table.open[std::size_t(kind)];
}

std::size_t OpenCount() {
    std::size_t total = 0;
    for (std::size_t kind = 0; kind < kKinds; ++kind) total += OpenCount(ResourceKind(kind));
    return total;
}

std::string OpenReport() {
    std::string report;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        const std::size_t count = OpenCount(ResourceKind(kind));
        if (count == 0) continue;
        if (!report.empty()) report += ", ";
        report += std::string(kKindNames[kind]) + ' ' + std::to_string(count);
    }
    return report;
}

}  // namespace control
}  // namespace embedded
