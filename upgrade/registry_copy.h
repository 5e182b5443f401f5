// Copies and removals of whole registry trees, as an upgrade needs them.
#ifndef INSTALIB_UPGRADE_REGISTRY_COPY_H
#define INSTALIB_UPGRADE_REGISTRY_COPY_H

#include "instalib/string.h"
#include "platform/handles.h"

namespace upgrade {

// Results of SetcnvrtCopyRegSubTree.
inline constexpr int kCopied = 0, kCopyFailed = 1;

// The key of a former agent, by its exact name, and the name it gets in every copy.
inline constexpr char kFormerAgentKey[] = "HalvenorAgentNodeAdress";
inline constexpr char kAgentKey[] = "ClientAgentNodeAdress";

// Merges the tree `source` into `destination`, both below HKEY_LOCAL_MACHINE, the only root allowed: keys are created,
// values overwritten, nothing is removed. kCopied when the top key was copied, even if something below it could not be.
// What is skipped: keys with names longer than 128 characters, values with names longer than 127, what cannot be read
// or written, and the destination itself where it lies in the source. With `deleteSource` the source is deleted, but
// only when all of it has been merged: a tree of which anything was skipped stays as it was. A failed deletion does not
// change the result.
int SetcnvrtCopyRegSubTree(HKEY root, const CString& source, const CString& destination, bool deleteSource);

// Deletes the tree; what cannot be deleted stays, with its parents. True when all of it is gone.
bool DeleteSourceKeys(HKEY parent, const char* path);

}  // namespace upgrade

#endif
