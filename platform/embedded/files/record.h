// What a machine knows of a file beyond its host's file: attributes, the time of creation, its security descriptor.
// Each is kept under META\Files in the machine's store only where the host's file does not say the same.
#ifndef INSTALIB_EMBEDDED_FILES_RECORD_H
#define INSTALIB_EMBEDDED_FILES_RECORD_H

#include "platform/embedded/files/place.h"
#include "platform/embedded/security/access.h"

namespace embedded::files {

// FILE_ATTRIBUTE_* of an existing place; never 0, FILE_ATTRIBUTE_NORMAL stands alone.
DWORD AttributesOf(const Place& place);
// Takes over what can be set of `attributes`. 0 or a Windows error.
DWORD SetAttributesOf(const Place& place, DWORD attributes);

FILETIME TimeOf(const timespec& time);
timespec HostTimeOf(const FILETIME& time);
FILETIME CreationOf(const Place& place);
void SetCreationOf(const Place& place, const FILETIME& time);

access::ObjectType TypeOf(const Place& place);
// The place's own descriptor, or what it inherits; empty when nothing above has one either.
Bytes EffectiveDescriptor(const Place& place);
// 0 or ERROR_ACCESS_DENIED: `desired` of the file's rights, generic bits included.
DWORD CheckRights(const Place& place, DWORD desired);
// Whether the file may be deleted or renamed: by right on it or on its directory.
DWORD CheckDeletion(const Place& place);

// The file is gone, or one is to be made where none was: nothing is known of it any more.
void ForgetRecord(const Place& place);
// The file, and everything below it, has moved on the same machine.
void MoveRecord(const Place& from, const Place& to);

}  // namespace embedded::files

#endif
