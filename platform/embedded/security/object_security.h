// The security of objects by handle or name, one class per kind: what GetSecurityInfo and its relatives work on.
#ifndef INSTALIB_EMBEDDED_SECURITY_OBJECT_SECURITY_H
#define INSTALIB_EMBEDDED_SECURITY_OBJECT_SECURITY_H

#include <memory>

#include "platform/embedded/security/access.h"
#include "platform/embedded/security/descriptor.h"

namespace embedded::security {

// Each call answers 0 or a Windows error and checks the caller's rights.
class SecuredObject {
  public:
    virtual ~SecuredObject() = default;
    virtual DWORD Read(SECURITY_INFORMATION information, Bytes* descriptor) = 0;
    virtual DWORD Write(SECURITY_INFORMATION information, const Bytes& change) = 0;
    // What the object may inherit from: its parent's descriptor, empty when it has no parent.
    virtual Bytes Parent() = 0;
    virtual access::ObjectType Type() const = 0;
};

// Writing a key's list passes its inheritable entries on to the keys below.
std::unique_ptr<SecuredObject> MakeKeyObject(HKEY key);
// "MACHINE\\SOFTWARE\\X", "CURRENT_USER\\...", "USERS\\...", "CLASSES_ROOT\\..."; `rights` may choose a view. Null with
// a Windows error.
std::unique_ptr<SecuredObject> OpenKeyObject(const char* name, DWORD rights, DWORD* error);
// What is below a directory and has no descriptor of its own follows the directory's, unless it is to be left alone.
std::unique_ptr<SecuredObject> MakeFileObject(const char* path, bool leaveBelowAlone);
// Null when the handle is no open file's.
std::unique_ptr<SecuredObject> MakeFileObject(HANDLE handle);

// The descriptor of an object below `parent` whose own entries stay and whose inherited ones are made anew.
std::optional<Bytes> Reinherit(const Bytes& own, const Bytes& parent, access::ObjectType type);

}  // namespace embedded::security

#endif
