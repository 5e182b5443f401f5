// Taking changes back: backwards, state by state. What somebody else has changed since is left and named, with every
// earlier change of the same object.
#include <map>
#include <set>

#include "changes/recorder.h"

namespace changes {
namespace {

// A single failure of the system is not the end of it.
DWORD Twice(auto operation) {
    const DWORD error = operation();
    return error == 0 ? 0 : operation();
}

class Undoing {
  public:
    Undoing(const Record& record, std::size_t first, bool sameProcess, std::vector<Left>& left)
        : m_sameProcess(sameProcess), m_left(left) {
        for (std::size_t i = first; i < record.changes.size(); ++i) {
            for (const Step& step : record.changes[i].steps) m_atFirst.try_emplace(step.object, &step.before);
        }
    }

    // False when something is left that another attempt may take back.
    bool TakeBack(std::size_t number, const Change& change) {
        bool whole = true;
        for (auto step = change.steps.rbegin(); step != change.steps.rend(); ++step) {
            const DWORD error = TakeBack(*step);
            if (error == 0) continue;
            m_left.push_back({number, step->object, error});
            m_given.insert(step->object);
            whole = whole && (error == kOtherwise || error == ERROR_NOT_SUPPORTED);
        }
        return whole;
    }

  private:
    DWORD TakeBack(const Step& step) {
        const KindRow& row = RowOf(step.object.kind);
        if (step.afterKnown && !step.unreadable && !step.object.secret && step.before == step.after) return 0;
        if (step.unreadable || step.object.secret) return ERROR_NOT_SUPPORTED;
        if (!row.lasts && !m_sameProcess) return 0;
        if (m_given.contains(step.object)) return 0;  // named already
        State now;
        if (const DWORD error = Twice([&] { return row.read(step.object, now); })) return error;
        // How it was before all of it: made and removed by the setup itself, it needs no more.
        if (now == step.before || now == *m_atFirst.at(step.object)) return 0;
        const bool exactly = !step.afterKnown || now == step.after;
        if (!IsOurs(row, step, now)) return kOtherwise;
        const auto write = exactly || row.writePart == nullptr ? row.write : row.writePart;
        const DWORD error = Twice([&] { return write(step.object, now, step.before); });
        return error == ERROR_DIR_NOT_EMPTY ? kOtherwise : error;
    }

    // Of a call that never came back only what it was to do is known, and often not even that.
    static bool IsOurs(const KindRow& row, const Step& step, const State& now) {
        if (step.afterKnown) return row.matches(now, step.after);
        return !step.hasIntended || row.matches(now, step.intended);
    }

    std::map<Object, const State*> m_atFirst;
    bool m_sameProcess;
    std::vector<Left>& m_left;
    std::set<Object> m_given;
};

}  // namespace

void Undo(Record& record, RecordFile& file, std::size_t first, bool sameProcess, std::vector<Left>& left) {
    Undoing undoing(record, first, sameProcess, left);
    bool whole = true;
    for (std::size_t i = record.changes.size(); i-- > first;) {
        if (record.changes[i].undone) continue;
        if (undoing.TakeBack(i, record.changes[i])) {
            record.changes[i].undone = true;
            file.QueueUndone(i);
        } else {
            whole = false;
        }
    }
    if (first != 0 || !whole) return;
    if (Twice([&] { return file.End(Status::RolledBack); }) != 0) return;
    record.status = Status::RolledBack;
    if (left.empty()) RemoveKept(file.Path(), record);
}

void RemoveKept(const std::string& path, const Record& record) {
    std::vector<std::string> folders{path + ".kept"};
    for (const Change& change : record.changes) {
        for (const Step& step : change.steps) {
            if (step.object.kind != Kind::File) continue;
            const std::string folder = KeptFolder(path, step.object.name);
            // Only files that this record's folders hold are its own.
            if (!EqualNoCase(step.object.part.substr(0, folder.size() + 1), folder + "\\")) continue;
            ::SetFileAttributesA(step.object.part.c_str(), FILE_ATTRIBUTE_NORMAL);
            ::DeleteFileA(step.object.part.c_str());
            folders.push_back(folder);
        }
    }
    for (const std::string& folder : folders) ::RemoveDirectoryA(folder.c_str());
}

}  // namespace changes
