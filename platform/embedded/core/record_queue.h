// A queue of records that any process of the host puts in and one takes out: a mailslot's messages, a thread's posted
// messages. It is a file of lengths and bytes, appended to under a lock of the host, which a killed process gives up; a
// record that a killed writer left unfinished is dropped.
#ifndef INSTALIB_EMBEDDED_CORE_RECORD_QUEUE_H
#define INSTALIB_EMBEDDED_CORE_RECORD_QUEUE_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/api/base.h"

namespace embedded {

// An open file of the host that is locked and unlocked as a whole; closed, and so unlocked, with the object.
class LockedFile {
  public:
    LockedFile() = default;
    // Made when it is missing and `create` says so.
    LockedFile(const std::filesystem::path& path, bool create);
    ~LockedFile();
    LockedFile(LockedFile&& other) noexcept;
    LockedFile& operator=(LockedFile&& other) noexcept;

    bool IsOpen() const { return m_descriptor >= 0; }
    int Get() const { return m_descriptor; }
    // `operation` as flock takes it; false when another holds it and LOCK_NB was given.
    bool Lock(int operation) const;

  private:
    int m_descriptor = -1;
};

// A name as a file name of the host: letters and digits as they are, every other byte as '%' and two digits.
std::string PortableName(std::string_view name);

class RecordQueue {
  public:
    // False when the file cannot be opened, or is missing and `create` is false.
    static bool Append(const std::filesystem::path& file, std::string_view record, bool create);

    explicit RecordQueue(const std::filesystem::path& file) : m_file(file, true) {}
    bool IsOpen() const { return m_file.IsOpen(); }
    // The records that wait, oldest first.
    std::vector<std::string> Records() const;
    // Removes the record that stood at `index` of Records(); later ones may have come since.
    void Remove(std::size_t index) const;
    void Replace(const std::vector<std::string>& records) const;

  private:
    LockedFile m_file;
};

}  // namespace embedded

#endif
