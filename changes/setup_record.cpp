#include "instalib/setup_record.h"

#include <memory>

#include "changes/describe.h"
#include "changes/names.h"
#include "changes/recorder.h"
#include "platform/handles.h"

using namespace changes;

struct CSetupRecord::Content {
    Record record;
    std::vector<changes::Left> left;
    bool runs = false;  // the process's record is this object's

    const Record& Current() const { return runs ? Recorder::The().Running() : record; }
};

namespace {

int Report(DWORD error) { return error == 0 ? 1 : FailWith(error); }
const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

// Nothing thrown gets out; memory that runs out is an error like another.
template <class Body>
int Guarded(Body body) noexcept {
    try {
        return Report(body());
    } catch (const std::exception&) {
        return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    }
}

// What others did for the setup is named; nobody can tell whether it is still there.
DWORD FirstError(const std::vector<changes::Left>& left) {
    for (const changes::Left& one : left) {
        if (one.object.kind != Kind::Outside) return one.error;
    }
    return 0;
}

void Describe(const Record& record, const Change& change, const Step& step, tagSETUP_CHANGE& result) {
    result.sKind = RowOf(step.object.kind).name;
    result.sName = step.object.name.c_str();
    result.sPart = PartText(step.object).c_str();
    result.sStage =
        change.stage == 0 || change.stage > record.marks.size() ? "" : record.marks[change.stage - 1].c_str();
    result.sBefore = StateText(step.object, step.before).c_str();
    result.sAfter = step.afterKnown ? StateText(step.object, step.after).c_str() : "?";
    result.dwError = change.error;
    result.bUndone = change.undone;
}

}  // namespace

CSetupRecord::CSetupRecord() : m_content(new Content) {}

CSetupRecord::~CSetupRecord() {
    if (m_content->runs) Recorder::The().Abandon();
    delete m_content;
}

int CSetupRecord::Begin(const char* file) {
    return Guarded([&] {
        const DWORD error = Recorder::The().Begin(OrEmpty(file));
        m_content->runs = m_content->runs || error == 0;
        if (error == 0) m_content->left.clear();
        return error;
    });
}

int CSetupRecord::Mark(const char* stage) {
    return Guarded(
        [&] { return m_content->runs ? Recorder::The().Mark(OrEmpty(stage)) : DWORD(ERROR_INVALID_HANDLE); });
}

int CSetupRecord::Commit() {
    return Guarded([&] {
        if (!m_content->runs) return DWORD(ERROR_INVALID_HANDLE);
        const DWORD error = Recorder::The().Commit();
        if (error != 0) return error;
        m_content->record = Recorder::The().Running();
        m_content->record.status = Status::Committed;
        m_content->runs = false;
        return DWORD(0);
    });
}

int CSetupRecord::Rollback() {
    return Guarded([&] {
        if (!m_content->runs) return DWORD(ERROR_INVALID_HANDLE);
        m_content->left.clear();
        const DWORD error = Recorder::The().Rollback(m_content->left);
        m_content->record = Recorder::The().Running();
        m_content->runs = false;
        return error != 0 ? error : FirstError(m_content->left);
    });
}

int CSetupRecord::Resume(const char* file) {
    return Guarded([&] {
        m_content->left.clear();
        const DWORD error = Recorder::The().Resume(OrEmpty(file), m_content->left);
        m_content->runs = m_content->runs || error == 0;
        return error;
    });
}

int CSetupRecord::Recover(const char* file) {
    return Guarded([&] {
        if (m_content->runs) return DWORD(ERROR_INVALID_FUNCTION);
        RecordFile opened;
        Record record;
        if (const DWORD error = opened.Open(names::FullPath(OrEmpty(file)), record)) return error;
        m_content->left.clear();
        if (record.status != Status::RolledBack) Undo(record, opened, 0, false, m_content->left);
        m_content->record = std::move(record);
        return FirstError(m_content->left);
    });
}

int CSetupRecord::Follow(const char* plan) {
    return Guarded([&] {
        if (!m_content->runs) return DWORD(ERROR_INVALID_HANDLE);
        Record record;
        const DWORD error = RecordFile::Read(OrEmpty(plan), record);
        if (error != 0 && error != kWrongMachine) return error;
        if (record.status != Status::Committed) return DWORD(ERROR_INVALID_DATA);
        Recorder::The().Follow(std::move(record));
        return DWORD(0);
    });
}

int CSetupRecord::Read(const char* file) {
    return Guarded([&] {
        if (m_content->runs) return DWORD(ERROR_INVALID_FUNCTION);
        Record record;
        const DWORD error = RecordFile::Read(OrEmpty(file), record);
        if (error == 0) m_content->record = std::move(record);
        return error;
    });
}

CSetupRecord::State CSetupRecord::GetState() const {
    const Record& record = m_content->Current();
    if (record.id.empty()) return None;
    return record.status == Status::Running ? Running : record.status == Status::Committed ? Committed : RolledBack;
}

int CSetupRecord::Count() const {
    std::size_t count = 0;
    for (const Change& change : m_content->Current().changes) count += change.steps.size();
    return int(count);
}

int CSetupRecord::Get(int index, tagSETUP_CHANGE& result) const {
    const Record& record = m_content->Current();
    std::size_t rest = index < 0 ? std::size_t(-1) : std::size_t(index);
    for (const Change& change : record.changes) {
        if (rest < change.steps.size()) return Describe(record, change, change.steps[rest], result), 1;
        rest -= change.steps.size();
        if (index < 0) break;
    }
    return FailWith(ERROR_INVALID_PARAMETER);
}

int CSetupRecord::MarkCount() const { return int(m_content->Current().marks.size()); }

CString CSetupRecord::GetMark(int index) const {
    const std::vector<std::string>& marks = m_content->Current().marks;
    return index >= 0 && std::size_t(index) < marks.size() ? marks[std::size_t(index)].c_str() : "";
}

int CSetupRecord::LeftCount() const { return int(m_content->left.size()); }

int CSetupRecord::GetLeft(int index, tagSETUP_CHANGE& result) const {
    if (index < 0 || index >= LeftCount()) return FailWith(ERROR_INVALID_PARAMETER);
    const changes::Left& left = m_content->left[std::size_t(index)];
    const Record& record = m_content->Current();
    const Change& change = record.changes[left.change];
    for (const Step& step : change.steps) {
        if (step.object == left.object) Describe(record, change, step, result);
    }
    result.dwError = left.error;
    return 1;
}

int CSetupRecord::Forget(const char* file) {
    return Guarded([&] {
        const std::string path = names::FullPath(OrEmpty(file));
        Record record;
        RecordFile opened;
        if (const DWORD error = opened.Open(path, record)) return error;
        if (record.status == Status::Running) return DWORD(ERROR_INVALID_DATA);
        RemoveKept(path, record);
        opened.Close();
        return ::DeleteFileA(path.c_str()) ? DWORD(0) : GetLastError();
    });
}
