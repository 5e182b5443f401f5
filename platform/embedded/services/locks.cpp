#include "platform/embedded/services/locks.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/embedded/core/text.h"

namespace embedded::services {
namespace {

int OpenLockFile(const Machine& machine) {
    return open((machine.Folder() / "services.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
}

struct flock OneByte(std::uint64_t place, Sharing sharing) {
    struct flock lock {};
    lock.l_type = short(sharing == Sharing::Exclusive ? F_WRLCK : F_RDLCK);
    lock.l_whence = SEEK_SET;
    lock.l_start = off_t(place);
    lock.l_len = 1;
    return lock;
}

}  // namespace

std::unique_ptr<Hold> Hold::Take(const Machine& machine, std::uint64_t place, Sharing sharing) {
    const int file = OpenLockFile(machine);
    if (file < 0) return nullptr;
    std::unique_ptr<Hold> hold(new Hold(file));
    struct flock lock = OneByte(place, sharing);
    return fcntl(file, F_OFD_SETLK, &lock) == 0 ? std::move(hold) : nullptr;
}

bool Hold::Exists(const Machine& machine, std::uint64_t place) {
    const int file = OpenLockFile(machine);
    if (file < 0) return false;
    const Hold closer(file);
    struct flock lock = OneByte(place, Sharing::Exclusive);
    return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

Hold::~Hold() { close(m_file); }

std::uint64_t PlaceOf(std::string_view serviceName) {
    std::uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a
    for (const char character : serviceName) hash = (hash ^ BYTE(text::Upper(character))) * 0x100000001B3u;
    return 1 + (hash >> 2);  // a file offset, and not the database's
}

}  // namespace embedded::services
