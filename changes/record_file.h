// The file of a record: frames that are only ever appended, each with its length and checksums that continue those of
// the frames before it.
//
//   magic "INSTALIB RECORD\r\n", then frames { length, checksum of the content, checksum of these two }, content
//
// A tail that was not written to its end is dropped. Anything else that does not fit refuses the file.
#ifndef INSTALIB_CHANGES_RECORD_FILE_H
#define INSTALIB_CHANGES_RECORD_FILE_H

#include <string>
#include <string_view>
#include <vector>

#include "changes/objects.h"
#include "platform/handles.h"

namespace changes {

constexpr DWORD kRecordVersion = 1;
constexpr DWORD kWrongMachine = 1210;  // ERROR_INVALID_COMPUTERNAME

// What became of one object in one change.
struct Step {
    Object object;
    State before;
    State after;
    bool afterKnown = false;
    bool unreadable = false;  // its state could not be told: never taken back
    bool hasIntended = false;
    State intended;  // what the call was to make of it, where that is known beforehand

    bool Changes() const { return !afterKnown || before != after; }
};

struct Change {
    std::vector<Step> steps;
    std::size_t stage = 0;  // how many marks stand before it
    bool finished = false;  // the call came back
    DWORD error = 0;        // of the call
    bool undone = false;
};

enum class Status { Running, Committed, RolledBack };

struct Record {
    std::string machine;
    std::string id;
    std::vector<std::string> marks;
    std::vector<Change> changes;
    Status status = Status::Running;
};

class RecordFile {
  public:
    // A new file, for administrators only. ERROR_FILE_EXISTS when there is one.
    DWORD Create(const std::string& path, const Record& head);
    // Reads a file whole and opens it for appending, its torn tail cut off. ERROR_INVALID_DATA for what is no whole
    // record, ERROR_REVISION_MISMATCH for another version, 1210 for another machine. Nothing is written when it fails.
    DWORD Open(const std::string& path, Record& record);
    static DWORD Read(const std::string& path, Record& record);
    // The same from a file's bytes.
    static DWORD Parse(std::string_view bytes, Record& record);
    void Close();
    bool IsOpen() const { return bool(m_file); }
    const std::string& Path() const { return m_path; }

    // The frames. Queued ones go out with the next that is not.
    DWORD Before(const Change& change);
    void QueueAfter(const Change& change);
    DWORD Mark(const std::string& text);
    void QueueUndone(std::size_t change);
    DWORD End(Status status);

  private:
    DWORD OpenForAppending(const std::string& path);
    void Queue(const std::string& content);
    DWORD Append(const std::string& content);
    DWORD Write();
    DWORD Flush();

    FileHandle m_file;
    std::string m_path;
    std::string m_queue;
    DWORD m_sum = 0;
};

std::string ThisMachine();

}  // namespace changes

#endif
