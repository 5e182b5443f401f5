// The process's open handles and the buffers that the machine has handed out. Handles are small multiples of four that
// are never reused at once, so a stale or foreign handle is an error code and never a crash.
#ifndef INSTALIB_EMBEDDED_CORE_HANDLES_TABLE_H
#define INSTALIB_EMBEDDED_CORE_HANDLES_TABLE_H

#include <memory>

#include "platform/embedded/api/base.h"
#include "platform/embedded/control/machine.h"

namespace embedded {

using control::ResourceKind;

// What a handle stands for. Destroying the object gives up what it holds; the table destroys it when its handle closes.
class HandleObject {
  public:
    explicit HandleObject(ResourceKind kind) : m_kind(kind) {}
    virtual ~HandleObject() = default;
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;
    ResourceKind Kind() const { return m_kind; }

  private:
    ResourceKind m_kind;
};

namespace handles {

void* Add(std::shared_ptr<HandleObject> object);
// The same for what the process has from its start: it can be used and closed, and never counts as open.
void* AddUncounted(std::shared_ptr<HandleObject> object);
// Null when the value is no open handle.
std::shared_ptr<HandleObject> Find(const void* handle);
// Forgets the handle when it is open and of this kind; the object goes with its last user. False otherwise.
bool Close(const void* handle, ResourceKind kind);

// Counts as open (+1) or given up (-1) what has a handle of its own making: modules, one for every load.
void Count(ResourceKind kind, int change);

// Null when the handle is not open or stands for something else.
template <class Object>
std::shared_ptr<Object> Find(const void* handle) {
    return std::dynamic_pointer_cast<Object>(Find(handle));
}

}  // namespace handles

namespace buffers {

// Zeroed memory that counts as `kind` until it is freed as that kind; null when there is none or `bytes` is absurd.
void* Allocate(ResourceKind kind, SIZE_T bytes);
// False when the pointer was not handed out as this kind (it is then left alone).
bool Free(ResourceKind kind, void* memory);

}  // namespace buffers
}  // namespace embedded

#endif
