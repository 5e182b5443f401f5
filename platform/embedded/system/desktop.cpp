#include "platform/embedded/system/desktop.h"

#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

#include "platform/embedded/api/system.h"
#include "platform/embedded/core/record_queue.h"
#include "platform/embedded/machine/world.h"

namespace fs = std::filesystem;

namespace embedded::desktop {
namespace {

fs::path Folder() {
    const fs::path folder = world::Local()->Folder() / "windows";
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    return folder;
}

fs::path AliveFile(DWORD process) { return Folder() / (std::string("p") + std::to_string(process) + ".alive"); }
fs::path QueueFile(DWORD process, DWORD thread) {
    return Folder() / (std::string("q") + std::to_string(process) + '.' + std::to_string(thread));
}

// A process shows that it lives by a lock that the host takes away with it. One for each machine that it has run on.
void ShowLife() {
    static std::mutex mutex;
    static auto* const shown = new std::map<fs::path, LockedFile>;
    const std::lock_guard lock(mutex);
    const fs::path path = AliveFile(GetCurrentProcessId());
    if (shown->contains(path)) return;
    LockedFile file(path, true);
    file.Lock(LOCK_SH);
    shown->emplace(path, std::move(file));
}

bool Lives(DWORD process) {
    if (process == GetCurrentProcessId()) return true;
    const LockedFile file(AliveFile(process), false);
    return file.IsOpen() && !file.Lock(LOCK_EX | LOCK_NB);
}

// Fixed numbers, then the class and the title up to their zero bytes.
struct Numbers {
    std::uint32_t id, process, thread, owner, visible;
};

std::string Encode(const WindowFacts& facts) {
    const Numbers numbers{facts.id, facts.process, facts.thread, facts.owner, facts.visible ? 1u : 0u};
    std::string record(reinterpret_cast<const char*>(&numbers), sizeof numbers);
    return record.append(facts.className).append(1, '\0').append(facts.title).append(1, '\0');
}

std::optional<WindowFacts> Decode(const std::string& record) {
    Numbers numbers{};
    const std::size_t middle = record.find('\0', sizeof numbers);
    if (record.size() < sizeof numbers + 2 || middle == record.npos) return std::nullopt;
    std::memcpy(&numbers, record.data(), sizeof numbers);
    return WindowFacts{numbers.id,
                       numbers.process,
                       numbers.thread,
                       numbers.owner,
                       numbers.visible != 0,
                       record.substr(sizeof numbers, middle - sizeof numbers),
                       std::string(record.c_str() + middle + 1)};
}

// Reads the table of windows under a lock, without those whose process has ended, and writes it when `change` says so.
// Record 0 is the next id.
void WithTable(const std::function<bool(std::vector<WindowFacts>&, std::uint32_t& next)>& change) {
    static std::mutex mutex;  // flock holds processes apart, this the threads
    const std::lock_guard lock(mutex);
    const LockedFile guard(Folder() / "guard", true);
    if (!guard.IsOpen() || !guard.Lock(LOCK_EX)) return;
    const RecordQueue table(Folder() / "table");
    if (!table.IsOpen()) return;
    std::uint32_t next = 0x10010;
    std::vector<WindowFacts> windows;
    for (const std::string& record : table.Records()) {
        if (record.size() == sizeof next)
            std::memcpy(&next, record.data(), sizeof next);
        else if (std::optional<WindowFacts> facts = Decode(record); facts && Lives(facts->process))
            windows.push_back(std::move(*facts));
    }
    if (!change(windows, next)) return;
    std::vector<std::string> records{std::string(reinterpret_cast<const char*>(&next), sizeof next)};
    for (const WindowFacts& facts : windows) records.push_back(Encode(facts));
    table.Replace(records);
}

std::vector<WindowFacts>::iterator Place(std::vector<WindowFacts>& windows, HWND window) {
    return std::ranges::find(windows, IdOf(window), &WindowFacts::id);
}

// A thread's queue. It begins empty, whatever a killed process of the same number left.
class ThreadQueue {
  public:
    explicit ThreadQueue(const fs::path& file) : m_file(file), m_queue(file) { m_queue.Replace({}); }
    ~ThreadQueue() {
        std::error_code ignored;
        fs::remove(m_file, ignored);
    }
    ThreadQueue(const ThreadQueue&) = delete;
    ThreadQueue& operator=(const ThreadQueue&) = delete;
    const RecordQueue& Records() const { return m_queue; }

  private:
    fs::path m_file;
    RecordQueue m_queue;
};

const RecordQueue& OwnQueue() {
    static thread_local std::map<fs::path, ThreadQueue> queues;
    const fs::path file = QueueFile(GetCurrentProcessId(), GetCurrentThreadId());
    return queues.try_emplace(file, file).first->second.Records();
}

}  // namespace

HWND Add(WindowFacts facts) {
    ShowLife();
    OwnQueue();  // exists from now on, so that others can post
    HWND handle = nullptr;
    WithTable([&](std::vector<WindowFacts>& windows, std::uint32_t& next) {
        facts.id = next;
        next += 2;
        handle = HandleOf(facts.id);
        windows.push_back(facts);
        return true;
    });
    return handle;
}

void Remove(HWND window) {
    WithTable([&](std::vector<WindowFacts>& windows, std::uint32_t&) {
        return std::erase_if(windows, [&](const WindowFacts& facts) { return facts.id == IdOf(window); }) != 0;
    });
}

std::optional<WindowFacts> Find(HWND window) {
    std::optional<WindowFacts> found;
    WithTable([&](std::vector<WindowFacts>& windows, std::uint32_t&) {
        if (const auto place = Place(windows, window); place != windows.end()) found = *place;
        return false;
    });
    return found;
}

std::vector<WindowFacts> All() {
    std::vector<WindowFacts> all;
    WithTable([&](std::vector<WindowFacts>& windows, std::uint32_t&) {
        all.assign(windows.rbegin(), windows.rend());
        return false;
    });
    return all;
}

std::optional<bool> SetVisible(HWND window, bool visible) {
    std::optional<bool> before;
    WithTable([&](std::vector<WindowFacts>& windows, std::uint32_t&) {
        const auto place = Place(windows, window);
        if (place == windows.end()) return false;
        before = std::exchange(place->visible, visible);
        return true;
    });
    return before;
}

bool Post(DWORD process, DWORD thread, const PostedMessage& message) {
    return RecordQueue::Append(QueueFile(process, thread), {reinterpret_cast<const char*>(&message), sizeof message},
                               false);
}

std::vector<PostedMessage> Waiting() {
    std::vector<PostedMessage> messages;
    for (const std::string& record : OwnQueue().Records()) {
        PostedMessage message{};
        std::memcpy(&message, record.data(), std::min(record.size(), sizeof message));
        messages.push_back(message);
    }
    return messages;
}

void TakeWaiting(std::size_t index) { OwnQueue().Remove(index); }

}  // namespace embedded::desktop
