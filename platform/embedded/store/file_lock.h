// The lock that keeps the other processes away from a store. The system takes it away from a process that dies. It does
// not keep this process's own threads apart.
#ifndef INSTALIB_EMBEDDED_STORE_FILE_LOCK_H
#define INSTALIB_EMBEDDED_STORE_FILE_LOCK_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace embedded {

inline constexpr const char* kLockName = "lock";

// F_WRLCK, waiting for it, or F_UNLCK. False with errno.
inline bool SetLock(int descriptor, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    while (fcntl(descriptor, F_SETLKW, &lock) != 0) {
        // The system takes crossing waits of different threads for a deadlock; they come undone by themselves.
        if (errno == EDEADLK)
            usleep(1000);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

// For the time of its life. Throws std::runtime_error.
class FileLock {
  public:
    explicit FileLock(int descriptor) : m_descriptor(descriptor) {
        if (!SetLock(m_descriptor, F_WRLCK)) {
            throw std::runtime_error(std::string("the registry cannot be locked: ") + std::strerror(errno));
        }
    }
    ~FileLock() { SetLock(m_descriptor, F_UNLCK); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    int m_descriptor;
};

}  // namespace embedded

#endif
