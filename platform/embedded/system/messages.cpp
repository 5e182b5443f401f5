#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

#include "platform/embedded/api/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/object.h"
#include "platform/embedded/modules/modules.h"
#include "platform/embedded/system/network_messages.h"

namespace gate = embedded::gate;
using embedded::control::CallKind;
using embedded::messages::Message;

namespace {

// Sorted by code. Texts end in a line break when they are given out.
constexpr Message kSystemMessages[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {13, "The data is invalid."},
    {14, "Not enough memory resources are available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {50, "The request is not supported."},
    {53, "The network path was not found."},
    {64, "The specified network name is no longer available."},
    {65, "Network access is denied."},
    {67, "The network name cannot be found."},
    {80, "The file exists."},
    {85, "The local device name is already in use."},
    {86, "The specified network password is not correct."},
    {87, "The parameter is incorrect."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {120, "This function is not supported on this system."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {124, "The system call level is not correct."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {145, "The directory is not empty."},
    {161, "The specified path is invalid."},
    {183, "Cannot create a file when that file already exists."},
    {193, "%1 is not a valid Win32 application."},
    {203, "The system could not find the environment option that was entered."},
    {206, "The filename or extension is too long."},
    {234, "More data is available."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {267, "The directory name is invalid."},
    {1003, "Cannot complete this function."},
    {1004, "Invalid flags."},
    {1005,
     "The volume does not contain a recognized file system. Please make sure that all required file system drivers are "
     "loaded and that the volume is not corrupted."},
    {1008, "An attempt was made to reference a token that does not exist."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1015,
     "The registry is corrupted. The structure of one of the files containing registry data is corrupted, or the "
     "system's memory image of the file is corrupted, or the file could not be recovered because the alternate copy or "
     "log was absent or corrupted."},
    {1016,
     "An I/O operation initiated by the registry failed unrecoverably. The registry could not read in, or write out, "
     "or "
     "flush, one of the files that contain the system's image of the registry."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1053, "The service did not respond to the start or control request in a timely fashion."},
    {1056, "An instance of the service is already running."},
    {1058,
     "The service cannot be started, either because it is disabled or because it has no enabled devices associated "
     "with it."},
    {1060, "The specified service does not exist as an installed service."},
    {1061, "The service cannot accept control messages at this time."},
    {1062, "The service has not been started."},
    {1069, "The service did not start due to a logon failure."},
    {1072, "The specified service has been marked for deletion."},
    {1073, "The specified service already exists."},
    {1203,
     "The network path was either typed incorrectly, does not exist, or the network provider is not currently "
     "available. "
     "Please try retyping the path or contact your network administrator."},
    {1219,
     "Multiple connections to a server or shared resource by the same user, using more than one user name, are not "
     "allowed. Disconnect all previous connections to the server or shared resource and try again."},
    {1300, "Not all privileges or groups referenced are assigned to the caller."},
    {1311, "We can't sign you in with this credential because your domain isn't available."},
    {1313, "A specified privilege does not exist."},
    {1314, "A required privilege is not held by the client."},
    {1317, "The specified account does not exist."},
    {1326, "The user name or password is incorrect."},
    {1332, "No mapping between account names and security IDs was done."},
    {1355, "The specified domain either does not exist or could not be contacted."},
    {1376, "The specified local group does not exist."},
    {1378, "The specified account name is already a member of the group."},
    {1379, "The specified local group already exists."},
    {1385, "Logon failure: the user has not been granted the requested logon type at this computer."},
    {1387, "A member could not be added to or removed from the local group because the member does not exist."},
    {1605, "This action is only valid for products that are currently installed."},
    {1722, "The RPC server is unavailable."},
    {1788, "The trust relationship between the primary domain and the trusted domain failed."},
    {1812, "The specified image file did not contain a resource section."},
    {1813, "The specified resource type cannot be found in the image file."},
};

std::optional<std::string> TextOf(std::span<const Message> messages, DWORD code) {
    const auto found = std::ranges::lower_bound(messages, code, {}, &Message::code);
    if (found == messages.end() || found->code != code) return std::nullopt;
    return found->text;
}

std::optional<std::string> Lookup(DWORD flags, LPCVOID source, DWORD code) {
    std::optional<std::string> text;
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
        const auto name = embedded::modules::NameOf(static_cast<HMODULE>(const_cast<void*>(source)));
        if (name && embedded::text::EqualNoCase(*name, "netmsg.dll"))
            text = TextOf(embedded::messages::OfTheNetwork(), code);
    }
    if (!text && (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0) text = TextOf(kSystemMessages, code);
    if (text) *text += (flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) == FORMAT_MESSAGE_MAX_WIDTH_MASK ? " " : "\r\n";
    return text;
}

DWORD Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

// A stream of the host for WriteFile and ReadFile.
class StreamObject : public embedded::files::FileObject {
  public:
    explicit StreamObject(int descriptor) : m_descriptor(descriptor) {}

    DWORD Read(void* buffer, DWORD bytes, std::optional<std::uint64_t>, DWORD* done) override {
        const ssize_t count = read(m_descriptor, buffer, bytes);
        *done = count < 0 ? 0 : DWORD(count);
        return count < 0 ? DWORD(ERROR_INVALID_HANDLE) : 0;
    }

    DWORD Write(const void* buffer, DWORD bytes, std::optional<std::uint64_t>, DWORD* done) override {
        const char* const start = static_cast<const char*>(buffer);
        for (*done = 0; *done < bytes;) {
            const ssize_t count = write(m_descriptor, start + *done, bytes - *done);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return errno == ENOSPC || errno == EDQUOT ? ERROR_DISK_FULL : ERROR_INVALID_HANDLE;
            *done += DWORD(count);
        }
        return 0;
    }

  private:
    int m_descriptor;
};

}  // namespace

DWORD FormatMessageA(DWORD flags, LPCVOID source, DWORD code, DWORD, LPSTR buffer, DWORD size, void*) {
    if (gate::Refuses(CallKind::System, "FormatMessageA")) return 0;
    constexpr DWORD kSources = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM;
    if ((flags & kSources) == 0 || buffer == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const std::optional<std::string> text = Lookup(flags, source, code);
    if (!text) return Fail(ERROR_MR_MID_NOT_FOUND);
    // No caller passes inserts, so a text that has some can only be given out as it stands.
    const bool ignoresInserts = (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0;
    if (!ignoresInserts && text->find("%1") != text->npos) return Fail(ERROR_INVALID_PARAMETER);
    if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
        char* const memory = static_cast<char*>(LocalAlloc(LMEM_FIXED, std::max<std::size_t>(size, text->size() + 1)));
        std::memcpy(buffer, &memory, sizeof memory);  // the argument is the address of a pointer then
        buffer = memory;
        if (memory == nullptr) return 0;
    } else if (size <= text->size()) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::memcpy(buffer, text->c_str(), text->size() + 1);
    return DWORD(text->size());
}

HANDLE GetStdHandle(DWORD which) {
    if (gate::Refuses(CallKind::System, "GetStdHandle")) return INVALID_HANDLE_VALUE;
    const DWORD stream = STD_INPUT_HANDLE - which;
    if (stream > 2) {
        SetLastError(ERROR_INVALID_HANDLE);
        return INVALID_HANDLE_VALUE;
    }
    static std::mutex mutex;
    static HANDLE streams[3] = {};
    const std::lock_guard lock(mutex);
    if (streams[stream] == nullptr) {
        streams[stream] = embedded::handles::AddUncounted(std::make_shared<StreamObject>(int(stream)));
    }
    return streams[stream];
}
