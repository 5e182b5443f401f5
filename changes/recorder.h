// The record that runs in this process, if any: at most one.
#ifndef INSTALIB_CHANGES_RECORDER_H
#define INSTALIB_CHANGES_RECORDER_H

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "changes/plan.h"

namespace changes {

constexpr DWORD kOtherwise = 1003;  // ERROR_CAN_NOT_COMPLETE: not as the plan has it, or changed by others since

// An object of a change that was not taken back.
struct Left {
    std::size_t change = 0;
    Object object;
    DWORD error = 0;  // kOtherwise: somebody has changed it since; ERROR_NOT_SUPPORTED: it never can be taken back
};

// What a call is going to change, as the call's row describes it.
class Subjects {
  public:
    void Add(Kind kind, std::string name, std::string part = {}, bool secret = false);
    // With what the call is to make of it.
    void Add(Kind kind, std::string name, std::string part, State intended);
    // The object cannot be told: the call fails with this error and changes nothing.
    void Refuse(DWORD error) { m_error = error; }
    DWORD Error() const { return m_error; }
    std::vector<Step> Take() { return std::move(m_steps); }

  private:
    std::vector<Step> m_steps;
    DWORD m_error = 0;
};

class Recorder {
  public:
    static Recorder& The();

    // All answer a Windows error, 0 for success. ERROR_BUSY (170) while a record runs.
    DWORD Begin(const std::string& path);
    // Goes on with a record that was not finished, its unfinished stage taken back first. What stayed is in `left`.
    DWORD Resume(const std::string& path, std::vector<Left>& left);
    DWORD Mark(const std::string& stage);
    DWORD Commit();
    DWORD Rollback(std::vector<Left>& left);
    // Stops recording and leaves the file as a crash would.
    void Abandon();
    // From now on only what `plan` has, in its order, may be changed.
    void Follow(Plan plan);
    // Makes one object `wanted`, as a change on record.
    DWORD Set(const Object& object, const State& wanted);

    // Around one change, for the door; between them the recorder is locked. 0, or the error with which the change is
    // refused; then there is nothing to finish.
    DWORD Start(std::vector<Step> steps);
    void Finish(DWORD error);

    // Where the next deleted file of this path is kept; the folder is made when it is needed.
    DWORD NextKept(const std::string& path, std::string& kept);

    // What handles stand for that Windows does not tell.
    void Learn(const void* handle, const std::string& name);
    std::string NameOf(const void* handle);

    const Record& Running() const { return m_record; }
    // Where the setup left its plan: what the plan has there (no steps: nothing more), and what was to be done.
    struct Departure {
        Change expected, found;
    };
    const std::optional<Departure>& Departed() const { return m_departure; }

  private:
    DWORD CheckPlan(const Change& change);
    DWORD Depart(const Change* expected, const Change* found);
    void Stop();

    std::mutex m_change;  // held from Start to Finish
    std::mutex m_names;
    std::map<const void*, std::string> m_handles;
    RecordFile m_file;
    Record m_record;
    std::optional<Plan> m_plan;
    std::optional<Departure> m_departure;  // from the plan: nothing more is changed then
    DWORD m_kept = 0;
};

// The folder of a record's kept files on the drive of `path`.
std::string KeptFolder(const std::string& record, const std::string& path);

// Takes changes back, the last first, down to `first`; notes each in the file. `sameProcess`: the process's own
// environment is taken back as well.
void Undo(Record& record, RecordFile& file, std::size_t first, bool sameProcess, std::vector<Left>& left);
// Removes the kept files of a record that is closed for good, and their folders.
void RemoveKept(const std::string& path, const Record& record);

}  // namespace changes

#endif
