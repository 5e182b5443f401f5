// Access decisions for the machine's own objects (keys, files, shares, services), shared by their families.
#ifndef INSTALIB_EMBEDDED_SECURITY_ACCESS_H
#define INSTALIB_EMBEDDED_SECURITY_ACCESS_H

#include "platform/embedded/store/store.h"

namespace embedded::access {

// What generic bits mean for a kind of object, and which descriptor it gets when nothing else is said.
enum class ObjectType { Key, File, Directory, Service, ServiceManager, Share };

// 0 and the granted mask, or ERROR_ACCESS_DENIED (ERROR_PRIVILEGE_NOT_HELD when ACCESS_SYSTEM_SECURITY is asked for
// without the privilege, ERROR_INVALID_SECURITY_DESCR for a damaged descriptor). Asking for nothing is refused. The
// calling thread's token (or the process's) asks for `desired` on an object with this self-relative descriptor. Generic
// bits are mapped, MAXIMUM_ALLOWED is answered, a null list grants all. An empty descriptor stands for the type's
// default.
DWORD Check(ObjectType type, const Bytes& descriptor, DWORD desired, DWORD* granted);

// The rights that reading or writing the parts of `information` needs of a handle.
DWORD RightsToRead(SECURITY_INFORMATION information);
DWORD RightsToWrite(SECURITY_INFORMATION information);

// The parts of a descriptor that `information` names, self-relative: what the calls that read security answer. An empty
// descriptor stands for the type's default.
Bytes Extract(ObjectType type, const Bytes& descriptor, SECURITY_INFORMATION information);

// A descriptor with the parts that `information` names taken from `change`, a caller's in either form: what the calls
// that write security store. Generic bits are mapped, and only an owner that the caller's token may name is taken. 0 or
// ERROR_INVALID_SECURITY_DESCR, ERROR_INVALID_OWNER, ERROR_INVALID_ACL. Checks no rights.
DWORD Modify(ObjectType type, const Bytes& descriptor, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR change,
             Bytes* result);

// The type's default descriptor on a fresh machine: everyone reads, administrators and the system have full control.
Bytes Default(ObjectType type);

// The descriptor of a new object below a parent: inheritable entries of the parent, marked inherited; the parent's
// owner and group. Also used to compute what an object without a descriptor of its own has, walking down from the
// nearest ancestor that has one.
Bytes Inherit(const Bytes& parent, ObjectType type);

}  // namespace embedded::access

#endif
