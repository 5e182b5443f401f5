// Looking a store's file through, and making a sound one of what is left of a damaged one.
#ifndef INSTALIB_EMBEDDED_STORE_SALVAGE_H
#define INSTALIB_EMBEDDED_STORE_SALVAGE_H

#include <filesystem>
#include <string>
#include <vector>

namespace embedded {

// What is in the store of a folder and what is wrong with it, in lines for a person. True when nothing is wrong. Waits
// for a writer; changes nothing.
__attribute__((visibility("default"))) bool CheckStore(const std::filesystem::path& folder,
                                                       std::vector<std::string>* lines);

// Copies a damaged file to "store.damaged" beside it ("store.damaged.2" and so on when there are some already), then
// replaces it by one that holds what every whole frame still says, wherever in the file it stands by now. A change of a
// key that was lost with another frame is lost, too. The lines say what was kept and what not. False when nothing could
// be kept or written; the file is then as it was. Throws std::runtime_error when the folder cannot be used.
__attribute__((visibility("default"))) bool RepairStore(const std::filesystem::path& folder,
                                                        std::vector<std::string>* lines);

}  // namespace embedded

#endif
