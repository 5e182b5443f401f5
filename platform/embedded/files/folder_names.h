// The names of folders in the form in which they compare, kept while the folder stands as it was read.
#ifndef INSTALIB_EMBEDDED_FILES_FOLDER_NAMES_H
#define INSTALIB_EMBEDDED_FILES_FOLDER_NAMES_H

#include <filesystem>
#include <string>

namespace embedded::files::folder_names {

// The entry of a host's folder that differs from `name` in case only; empty when there is none. Sees every change, by
// whomever, that was made before the call.
std::filesystem::path Find(const std::filesystem::path& folder, const std::u16string& name);

// A change of one entry, made while the machine's FileGuard is held: with Added or Removed after it, what is kept of
// the folder goes on instead of being read again.
class Change {
  public:
    explicit Change(const std::filesystem::path& entry);
    void Added();
    void Removed();

  private:
    std::filesystem::path m_entry;
    bool m_isKnown;  // the folder is kept and stood as it was read
};

}  // namespace embedded::files::folder_names

#endif
