#include "platform/embedded/core/kept_lock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace embedded {
namespace {

std::atomic<unsigned> g_forks{0};

unsigned Forks() {
    static const int registered = pthread_atfork(nullptr, nullptr, [] { ++g_forks; });
    static_cast<void>(registered);
    return g_forks.load(std::memory_order_relaxed);
}

void Set(int descriptor, int operation) {
    while (descriptor >= 0 && flock(descriptor, operation) != 0 && errno == EINTR) {
    }
}

}  // namespace

KeptLock::~KeptLock() {
    if (m_descriptor >= 0) close(m_descriptor);
}

void KeptLock::Open() {
    const unsigned forks = Forks();
    if (m_descriptor >= 0 && m_forks == forks) return;
    // An inherited descriptor is the parent's lock: closing it here leaves that lock with the parent.
    if (m_descriptor >= 0) close(m_descriptor);
    m_descriptor = open(m_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    m_forks = forks;
}

void KeptLock::Take() {
    m_mutex.lock();
    Open();
    Set(m_descriptor, LOCK_EX);
}

void KeptLock::Release() {
    Set(m_descriptor, LOCK_UN);
    m_mutex.unlock();
}

}  // namespace embedded
