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

// The part of `path` below `above`, in any case of letters, empty for the same key; null when it does not lie there.
const char* Below(const char* path, const char* above);
// What a path says below its first component when that is `name` in any case, empty at its end; null when it is
// another, and for a null path.
const char* Behind(const char* path, const char* name);

// Merges the tree `source` into `destination`, both below HKEY_LOCAL_MACHINE, the only root allowed: keys are created,
// values overwritten, nothing is removed. kCopied when the top key was copied, even if something below it could not be.
// What is skipped: keys with names longer than 128 characters, values with names longer than 127, what cannot be read
// or written, and `excluded` where it lies in the source: the destination, or a key above it (null: the destination).
// With `deleteSource` the source is deleted, but only when all of it has been merged: a tree of which anything was
// skipped stays as it was. A failed deletion does not change the result.
int SetcnvrtCopyRegSubTree(HKEY root, const CString& source, const CString& destination, bool deleteSource,
                           const char* excluded = nullptr);

// Deletes the tree; what cannot be deleted stays, with its parents. True when all of it is gone.
bool DeleteSourceKeys(HKEY parent, const char* path);

}  // namespace upgrade

#endif
