// Holds on services and on the service database that vanish with the process that has them: locks on single bytes of a
// file of the machine, one open file each.
#ifndef INSTALIB_EMBEDDED_SERVICES_LOCKS_H
#define INSTALIB_EMBEDDED_SERVICES_LOCKS_H

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/embedded/machine/world.h"

namespace embedded::services {

enum class Sharing { Shared, Exclusive };

class Hold {
  public:
    // Null when another hold forbids it, or the file cannot be used.
    static std::unique_ptr<Hold> Take(const Machine& machine, std::uint64_t place, Sharing sharing);
    // Whether any process, this one included, has a hold there.
    static bool Exists(const Machine& machine, std::uint64_t place);
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

  private:
    explicit Hold(int file) : m_file(file) {}
    int m_file;
};

inline constexpr std::uint64_t kDatabasePlace = 0;
// The place of a service's open handles; its name in any case gives the same one.
std::uint64_t PlaceOf(std::string_view serviceName);

}  // namespace embedded::services

#endif
