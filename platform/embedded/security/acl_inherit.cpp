#include "platform/embedded/security/acl_inherit.h"

#include "platform/embedded/security/access_check.h"

namespace embedded::security {
namespace {

constexpr BYTE kInheritFlags = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | NO_PROPAGATE_INHERIT_ACE | INHERIT_ONLY_ACE;
constexpr BYTE kToChildren = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;

ByteView Substitute(ByteView sid, const NewObject& object) {
    if (Equal(sid, well_known::kCreatorOwner) && !object.owner.empty()) return object.owner;
    if (Equal(sid, well_known::kCreatorGroup) && !object.group.empty()) return object.group;
    return sid;
}

// An entry that counts for the object. Where it says something else to the object than to what will be below it (a
// generic right, a creator), it becomes two: one of each.
void AddEffective(ListBuilder& list, const Entry& entry, const NewObject& object, BYTE flags) {
    const DWORD mask = MapGeneric(entry.mask, *object.mapping);
    const ByteView sid = Substitute(entry.sid, object);
    const bool differs = mask != entry.mask || !Equal(sid, entry.sid);
    const bool passesOn = (flags & kToChildren) != 0;
    if (!differs || !passesOn) return list.Add(entry.type, flags, mask, sid);
    list.Add(entry.type, BYTE(flags & ~kInheritFlags), mask, sid);
    list.Add(entry.type, BYTE(flags | INHERIT_ONLY_ACE), entry.mask, entry.sid);
}

void AddForContainer(ListBuilder& list, const Entry& entry, const NewObject& object, BYTE other) {
    const bool further = (entry.flags & NO_PROPAGATE_INHERIT_ACE) == 0;
    const BYTE passedOn = BYTE(further ? entry.flags & kToChildren : 0);
    if ((entry.flags & CONTAINER_INHERIT_ACE) != 0) {
        AddEffective(list, entry, object, BYTE(passedOn | other));
    } else if (further) {
        list.Add(entry.type, BYTE(passedOn | INHERIT_ONLY_ACE | other), entry.mask, entry.sid);
    }
}

}  // namespace

void AddInherited(ListBuilder& list, ByteView parent, const NewObject& object, BYTE mark) {
    EntryReader reader(parent);
    for (Entry entry; reader.Next(entry);) {
        if (entry.sid.empty() || (entry.flags & kToChildren) == 0) continue;
        const BYTE other = BYTE((entry.flags & ~(kInheritFlags | INHERITED_ACE)) | mark);
        if (object.isContainer) {
            AddForContainer(list, entry, object, other);
        } else if ((entry.flags & OBJECT_INHERIT_ACE) != 0) {
            AddEffective(list, entry, object, other);
        }
    }
}

void AddGiven(ListBuilder& list, ByteView given, const NewObject& object, bool withoutInherited) {
    EntryReader reader(given);
    for (Entry entry; reader.Next(entry);) {
        if (withoutInherited && entry.IsInherited()) continue;
        if (entry.sid.empty() || !entry.IsEffective()) {
            list.Append(entry);
        } else {
            AddEffective(list, entry, object, entry.flags);
        }
    }
}

}  // namespace embedded::security
