// What the access list of a new object becomes: inherited from a parent's, or made from its creator's.
#ifndef INSTALIB_EMBEDDED_SECURITY_ACL_INHERIT_H
#define INSTALIB_EMBEDDED_SECURITY_ACL_INHERIT_H

#include "platform/embedded/security/acl.h"

namespace embedded::security {

struct NewObject {
    bool isContainer = false;
    ByteView owner;  // take the places of "creator owner" and "creator group"
    ByteView group;
    const GENERIC_MAPPING* mapping = nullptr;
};

// Adds what the object inherits from the parent's list; `mark` is INHERITED_ACE or 0.
//   (A;OICI;GA;;;BA)  gives a container (A;ID;FA;;;BA)(A;OICIIOID;GA;;;BA), a file (A;ID;FA;;;BA)
//   (A;OI;FR;;;WD)    gives a container (A;OIIOID;FR;;;WD), a file (A;ID;FR;;;WD)
//   (A;CI;FR;;;WD)    gives a container (A;CIID;FR;;;WD), a file nothing
void AddInherited(ListBuilder& list, ByteView parent, const NewObject& object, BYTE mark);

// Adds the entries of a list that was given for the object itself, generic bits mapped where they count for it. With
// `withoutInherited`, only those that are the object's own.
void AddGiven(ListBuilder& list, ByteView given, const NewObject& object, bool withoutInherited);

}  // namespace embedded::security

#endif
