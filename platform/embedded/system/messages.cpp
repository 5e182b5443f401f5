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

namespace gate = embedded::gate;
using embedded::control::CallKind;

namespace {

struct Message {
    DWORD code;
    const char* text;
};

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

// What netmsg.dll holds of the codes from 2100 to 2999 (lmerr.h).
constexpr Message kNetworkMessages[] = {
    {2102, "The workstation driver is not installed."},
    {2103, "The server could not be located."},
    {2104, "An internal error occurred. The network cannot access a shared memory segment."},
    {2105, "A network resource shortage occurred."},
    {2106, "This operation is not supported on workstations."},
    {2107, "The device is not connected."},
    {2114, "The Server service is not started."},
    {2115, "The queue is empty."},
    {2116, "The device or directory does not exist."},
    {2117, "The operation is invalid on a redirected resource."},
    {2118, "The name has already been shared."},
    {2119, "The server is currently out of the requested resource."},
    {2121, "Requested addition of items exceeds the maximum allowed."},
    {2122, "The Peer service supports only two simultaneous users."},
    {2123, "The API return buffer is too small."},
    {2127, "A remote API error occurred."},
    {2131, "An error occurred when opening or reading the configuration file."},
    {2136, "A general network error occurred."},
    {2137,
     "The Workstation service is in an inconsistent state. Restart the computer before restarting the Workstation "
     "service."},
    {2138, "The Workstation service has not been started."},
    {2139, "The requested information is not available."},
    {2140, "An internal Windows error occurred."},
    {2141, "The server is not configured for transactions."},
    {2142, "The requested API is not supported on the remote server."},
    {2143, "The event name is invalid."},
    {2144, "The computer name already exists on the network. Change it and restart the computer."},
    {2146, "The specified component could not be found in the configuration information."},
    {2147, "The specified parameter could not be found in the configuration information."},
    {2149, "A line in the configuration file is too long."},
    {2150, "The printer does not exist."},
    {2151, "The print job does not exist."},
    {2152, "The printer destination cannot be found."},
    {2180, "The service database is locked."},
    {2181, "The service table is full."},
    {2182, "The requested service has already been started."},
    {2184, "The service has not been started."},
    {2185, "The service name is invalid."},
    {2186, "The service is not responding to the control function."},
    {2187, "The service control is busy."},
    {2189, "The service could not be controlled in its present state."},
    {2191, "The requested pause, continue, or stop is not valid for this service."},
    {2201, "The password is invalid for this user. If you are using Windows, you can change your password."},
    {2202, "The user name or group name parameter is invalid."},
    {2203, "The password parameter is invalid."},
    {2212, "The supplied name is already registered on this computer."},
    {2219, "The security database could not be found."},
    {2220, "The group name could not be found."},
    {2221, "The user name could not be found."},
    {2222, "The resource name could not be found."},
    {2223, "The group already exists."},
    {2224, "The account already exists."},
    {2225, "The resource permission list already exists."},
    {2226, "This operation is only allowed on the primary domain controller of the domain."},
    {2227, "The security database has not been started."},
    {2229, "A disk I/O failure occurred."},
    {2230, "The limit of 64 entries per resource was exceeded."},
    {2231, "Deleting a user with a session is not allowed."},
    {2232, "The parent directory could not be located."},
    {2234, "This operation is not allowed on this special group."},
    {2236, "The user already belongs to this group."},
    {2237, "The user does not belong to this group."},
    {2239, "This user account is undefined."},
    {2240, "This user account has expired."},
    {2241, "The user is not allowed to log on from this workstation."},
    {2242, "The user is not allowed to log on at this time."},
    {2243, "The password of this user has expired."},
    {2244, "The password of this user cannot change."},
    {2245,
     "The password does not meet the password policy requirements. Check the minimum password length, password "
     "complexity and password history requirements."},
    {2246, "The password of this user is too recent to change."},
    {2247, "The security database is corrupted."},
    {2249, "This replicant database is up to date."},
    {2250, "The network connection could not be found."},
    {2251, "This asg_type is invalid."},
    {2252, "This device is currently being shared."},
    {2270, "The computer name could not be added as a message alias. The name may already exist on the network."},
    {2273, "This message alias could not be found on the network."},
    {2310, "This shared resource does not exist."},
    {2311, "This device is not shared."},
    {2312, "A session does not exist with that computer name."},
    {2314, "There is not an open file with that identification number."},
    {2317, "The server does not have the alert, or the alert is invalid."},
    {2351, "This computer name is invalid."},
    {2354, "The specified share name is invalid."},
    {2401, "There are open files on the connection."},
    {2402, "Active connections still exist."},
    {2403, "This share name or password is invalid."},
    {2404, "The device is being accessed by an active process."},
    {2405, "The drive letter is in use locally."},
    {2453, "Could not find domain controller for this domain."},
    {2457, "This server's clock is not synchronized with the primary domain controller's clock."},
    {2461, "The specified computer account could not be found."},
    {2462, "The specified domain did not exist."},
};

template <std::size_t Count>
std::optional<std::string> TextOf(const Message (&messages)[Count], DWORD code) {
    const auto* const found = std::ranges::lower_bound(messages, code, {}, &Message::code);
    if (found == std::end(messages) || found->code != code) return std::nullopt;
    return found->text;
}

std::optional<std::string> Lookup(DWORD flags, LPCVOID source, DWORD code) {
    std::optional<std::string> text;
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
        const auto name = embedded::modules::NameOf(static_cast<HMODULE>(const_cast<void*>(source)));
        if (name && embedded::text::EqualNoCase(*name, "netmsg.dll")) text = TextOf(kNetworkMessages, code);
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
