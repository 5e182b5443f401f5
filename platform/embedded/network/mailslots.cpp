// Mailslots: one write is one message. A machine keeps them below its folder mailslots/, for each a file of messages
// and one that the slot's owner holds locked, so that a killed owner's slot is gone at once.
#include <sys/file.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "platform/embedded/api/files.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/record_queue.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/object.h"
#include "platform/embedded/machine/world.h"

namespace fs = std::filesystem;
namespace gate = embedded::gate;
namespace handles = embedded::handles;
using embedded::control::CallKind;

namespace embedded {
namespace {

using Clock = std::chrono::steady_clock;

struct SlotFiles {
    fs::path messages;
    fs::path owner;
};

SlotFiles FilesOf(const Machine& machine, std::string name) {
    for (char& character : name) character = character >= 'A' && character <= 'Z' ? char(character + 32) : character;
    const fs::path folder = machine.Folder() / "mailslots";
    const std::string file = PortableName(name);
    return {folder / (file + ".messages"), folder / (file + ".owner")};
}

class MailslotServer : public files::FileObject {
  public:
    MailslotServer(const SlotFiles& slot, LockedFile owner, DWORD maximum, DWORD timeout)
        : m_files(slot), m_owner(std::move(owner)), m_queue(slot.messages), m_maximum(maximum), m_timeout(timeout) {
        m_queue.Replace({});  // a killed owner's
    }
    ~MailslotServer() override {
        std::error_code ignored;
        fs::remove(m_files.messages, ignored);
    }

    DWORD Read(void* buffer, DWORD bytes, std::optional<std::uint64_t>, DWORD* done) override {
        const auto end = Clock::now() + std::chrono::milliseconds(m_timeout);
        for (;;) {
            const std::vector<std::string> records = m_queue.Records();
            if (!records.empty()) return Take(records.front(), buffer, bytes, done);
            if (m_timeout != MAILSLOT_WAIT_FOREVER && Clock::now() >= end) return ERROR_SEM_TIMEOUT;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    DWORD Write(const void*, DWORD, std::optional<std::uint64_t>, DWORD*) override { return ERROR_INVALID_PARAMETER; }

    void Describe(LPDWORD maximum, LPDWORD next, LPDWORD count, LPDWORD timeout) const {
        const std::vector<std::string> records = m_queue.Records();
        if (maximum != nullptr) *maximum = m_maximum;
        if (next != nullptr) *next = records.empty() ? MAILSLOT_NO_MESSAGE : DWORD(records.front().size());
        if (count != nullptr) *count = DWORD(records.size());
        if (timeout != nullptr) *timeout = m_timeout;
    }

  private:
    // A message that does not fit stays for a reader with a larger buffer.
    DWORD Take(const std::string& record, void* buffer, DWORD bytes, DWORD* done) const {
        if (record.size() > bytes) return ERROR_INSUFFICIENT_BUFFER;
        if (!record.empty()) std::memcpy(buffer, record.data(), record.size());
        *done = DWORD(record.size());
        m_queue.Remove(0);
        return 0;
    }

    SlotFiles m_files;
    LockedFile m_owner;
    RecordQueue m_queue;
    DWORD m_maximum, m_timeout;
};

class MailslotClient : public files::FileObject {
  public:
    explicit MailslotClient(const SlotFiles& slot) : m_files(slot) {}
    DWORD Read(void*, DWORD, std::optional<std::uint64_t>, DWORD*) override { return ERROR_ACCESS_DENIED; }
    DWORD Write(const void* buffer, DWORD bytes, std::optional<std::uint64_t>, DWORD* done) override {
        // The owner may have gone since: the message has no place then.
        if (!RecordQueue::Append(m_files.messages, {static_cast<const char*>(buffer), bytes}, false)) {
            return ERROR_FILE_NOT_FOUND;
        }
        *done = bytes;
        return 0;
    }

  private:
    SlotFiles m_files;
};

bool HasOwner(const SlotFiles& slot) {
    const LockedFile owner(slot.owner, false);
    return owner.IsOpen() && !owner.Lock(LOCK_SH | LOCK_NB);
}

// A writer that looks for an owner holds the lock for a moment, so one refusal is not the last word.
bool Own(const LockedFile& owner) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        if (owner.Lock(LOCK_EX | LOCK_NB)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

HANDLE Fail(DWORD error) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

}  // namespace

std::shared_ptr<files::FileObject> files::OpenMailslot(const std::string& computer, const std::string& name,
                                                       DWORD access, DWORD share, DWORD* error) {
    const auto machine = world::Find(computer == "." ? nullptr : computer.c_str());
    *error = 0;
    if (machine == nullptr)
        *error = ERROR_BAD_NETPATH;
    else if ((access & GENERIC_READ) != 0)
        *error = ERROR_ACCESS_DENIED;
    else if (!HasOwner(FilesOf(*machine, name)))
        *error = ERROR_FILE_NOT_FOUND;
    else if ((share & FILE_SHARE_READ) == 0)
        *error = ERROR_SHARING_VIOLATION;
    return *error != 0 ? nullptr : std::make_shared<MailslotClient>(FilesOf(*machine, name));
}

}  // namespace embedded

HANDLE CreateMailslotA(LPCSTR name, DWORD maximum, DWORD timeout, LPSECURITY_ATTRIBUTES) {
    using namespace embedded;
    if (gate::Refuses(CallKind::File, "CreateMailslotA")) return INVALID_HANDLE_VALUE;
    constexpr std::string_view kPrefix = "\\\\.\\mailslot\\";
    const std::string_view full = name == nullptr ? "" : name;
    if (full.size() <= kPrefix.size() || !text::EqualNoCase(full.substr(0, kPrefix.size()), kPrefix)) {
        return Fail(ERROR_INVALID_NAME);
    }
    const SlotFiles slot = FilesOf(*world::Local(), std::string(full.substr(kPrefix.size())));
    std::error_code ignored;
    fs::create_directories(slot.owner.parent_path(), ignored);
    LockedFile owner(slot.owner, true);
    if (!owner.IsOpen()) return Fail(ERROR_ACCESS_DENIED);
    if (!Own(owner)) return Fail(ERROR_ALREADY_EXISTS);
    return handles::Add(std::make_shared<MailslotServer>(slot, std::move(owner), maximum, timeout));
}

BOOL GetMailslotInfo(HANDLE mailslot, LPDWORD maximum, LPDWORD next, LPDWORD count, LPDWORD timeout) {
    if (gate::Refuses(CallKind::File, "GetMailslotInfo")) return FALSE;
    const auto server = handles::Find<embedded::MailslotServer>(mailslot);
    if (server)
        server->Describe(maximum, next, count, timeout);
    else
        SetLastError(ERROR_INVALID_HANDLE);
    return server != nullptr;
}
