#include "instalib/setup_record.h"

#include <memory>

#include "changes/describe.h"
#include "changes/names.h"
#include "changes/recorder.h"
#include "changes/verification.h"
#include "platform/handles.h"

using namespace changes;

struct CSetupRecord::Content {
    Record record;
    std::vector<changes::Left> left;
    std::vector<changes::Difference> differences;  // of the last Verify
    bool runs = false;                             // the process's record is this object's

    void ClearLeft() {
        left.clear();
        differences.clear();
    }
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

void Describe(const Object& object, tagSETUP_CHANGE& result) {
    result.sKind = RowOf(object.kind).name;
    result.sName = object.name.c_str();
    result.sPart = PartText(object).c_str();
}

void Describe(const Record& record, const Change& change, const Step& step, tagSETUP_CHANGE& result) {
    Describe(step.object, result);
    result.sStage =
        change.stage == 0 || change.stage > record.marks.size() ? "" : record.marks[change.stage - 1].c_str();
    result.sBefore = StateText(step.object, step.before).c_str();
    result.sAfter = step.afterKnown ? StateText(step.object, step.after).c_str() : "?";
    result.dwError = change.error;
    result.bUndone = change.undone;
}

// What `read` has read is a plan when its setup came to its end, on whatever machine.
template <class Read>
DWORD PlanFrom(Read read, const Record& record) {
    const DWORD error = read();
    if (error != 0 && error != kWrongMachine) return error;
    return record.status == Status::Committed ? 0 : DWORD(ERROR_INVALID_DATA);
}

DWORD FollowPlan(Record plan, const Record* again) {
    if (again != nullptr && !Plan::AreAlike(plan, *again)) return ERROR_INVALID_DATA;
    Recorder::The().Follow(Plan(std::move(plan), again));
    return 0;
}

bool IsSameStep(const Step& planned, const Step& made) {
    const Varies varies = Plan::Compare(planned, made);
    return planned.object.kind == made.object.kind && !varies.name && !varies.part && !varies.before &&
           (!made.afterKnown || planned.after == made.after);
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
        if (error == 0) m_content->ClearLeft();
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
        m_content->ClearLeft();
        const DWORD error = Recorder::The().Rollback(m_content->left);
        m_content->record = Recorder::The().Running();
        m_content->runs = false;
        return error != 0 ? error : FirstError(m_content->left);
    });
}

int CSetupRecord::Resume(const char* file) {
    return Guarded([&] {
        m_content->ClearLeft();
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
        m_content->ClearLeft();
        if (record.status != Status::RolledBack) Undo(record, opened, 0, false, m_content->left);
        m_content->record = std::move(record);
        return FirstError(m_content->left);
    });
}

int CSetupRecord::Follow(const char* plan, const char* again) {
    return Guarded([&] {
        if (!m_content->runs) return DWORD(ERROR_INVALID_HANDLE);
        Record first, second;
        if (const DWORD error = PlanFrom([&] { return RecordFile::Read(OrEmpty(plan), first); }, first)) return error;
        if (again == nullptr) return FollowPlan(std::move(first), nullptr);
        if (const DWORD error = PlanFrom([&] { return RecordFile::Read(again, second); }, second)) return error;
        return FollowPlan(std::move(first), &second);
    });
}

int CSetupRecord::FollowBytes(const void* plan, DWORD size, const void* again, DWORD againSize) {
    return Guarded([&] {
        if (!m_content->runs) return DWORD(ERROR_INVALID_HANDLE);
        const auto parse = [](const void* bytes, DWORD length, Record& record) {
            const std::string_view text(static_cast<const char*>(bytes), bytes == nullptr ? 0 : length);
            return PlanFrom([&] { return RecordFile::Parse(text, record); }, record);
        };
        Record first, second;
        if (const DWORD error = parse(plan, size, first)) return error;
        if (again == nullptr) return FollowPlan(std::move(first), nullptr);
        if (const DWORD error = parse(again, againSize, second)) return error;
        return FollowPlan(std::move(first), &second);
    });
}

int CSetupRecord::GetDeparture(tagSETUP_CHANGE& expected, tagSETUP_CHANGE& found) const {
    expected = found = tagSETUP_CHANGE{};
    const auto& departure = Recorder::The().Departed();
    if (!departure) return 0;
    // The first step that differs; where the plan only ends earlier, the first that is one too many.
    const std::vector<Step>&planned = departure->expected.steps, &made = departure->found.steps;
    std::size_t index = 0;
    while (index < planned.size() && index < made.size() && IsSameStep(planned[index], made[index])) ++index;
    if (index >= planned.size() && index >= made.size()) index = 0;  // they differ in how the call ended
    if (index < planned.size()) Describe({}, departure->expected, planned[index], expected);
    if (index >= made.size()) return 1;
    Describe({}, departure->found, made[index], found);
    if (!made[index].afterKnown && made[index].hasIntended)
        found.sAfter = StateText(made[index].object, made[index].intended).c_str();
    return 1;
}

int CSetupRecord::Compare(const CSetupRecord& again, int index) const {
    const Record &record = m_content->Current(), &other = again.m_content->Current();
    std::size_t rest = index < 0 ? std::size_t(-1) : std::size_t(index);
    for (std::size_t i = 0; index >= 0 && i < record.changes.size() && i < other.changes.size(); ++i) {
        const std::vector<Step>&steps = record.changes[i].steps, &others = other.changes[i].steps;
        if (rest < steps.size()) {
            if (rest >= others.size()) return 0;
            const Varies varies = Plan::Compare(steps[rest], others[rest]);
            const bool isNamed = varies.name || (varies.part && steps[rest].object.kind != Kind::File);
            return (isNamed ? Named : 0) | (varies.before ? Before : 0) | (varies.after ? After : 0);
        }
        rest -= steps.size();
    }
    return 0;
}

int CSetupRecord::IsLike(const CSetupRecord& again) const {
    return Plan::AreAlike(m_content->Current(), again.m_content->Current());
}

int CSetupRecord::Verify(const char* const* files, int count) {
    return Guarded([&] {
        if (m_content->runs) return DWORD(ERROR_INVALID_FUNCTION);
        std::vector<Record> records;
        for (int i = 0; i < count; ++i) {
            if (const DWORD error = RecordFile::Read(OrEmpty(files[i]), records.emplace_back())) return error;
        }
        m_content->ClearLeft();
        m_content->differences = changes::Verify(records);
        return DWORD(0);
    });
}

int CSetupRecord::Repair(const CSetupRecord& verified, int index) {
    return Guarded([&] {
        const std::vector<Difference>& differences = verified.m_content->differences;
        if (!m_content->runs) return DWORD(ERROR_INVALID_HANDLE);
        if (index < 0 || std::size_t(index) >= differences.size()) return DWORD(ERROR_INVALID_PARAMETER);
        const Difference& difference = differences[std::size_t(index)];
        return Recorder::The().Set(difference.object, difference.expected);
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

int CSetupRecord::LeftCount() const { return int(m_content->left.size() + m_content->differences.size()); }

int CSetupRecord::GetLeft(int index, tagSETUP_CHANGE& result) const {
    if (index < 0 || index >= LeftCount()) return FailWith(ERROR_INVALID_PARAMETER);
    if (!m_content->differences.empty()) {
        const Difference& difference = m_content->differences[std::size_t(index)];
        Describe(difference.object, result);
        result.sStage = difference.stage.c_str();
        result.sBefore = StateText(difference.object, difference.expected).c_str();
        result.sAfter = StateText(difference.object, difference.now).c_str();
        result.dwError = difference.error != 0 ? difference.error : kOtherwise;
        result.bUndone = 0;
        return 1;
    }
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
        // What a crash has left of a record that never began.
        const bool isLeft = ::DeleteFileA((path + ".new").c_str()) != FALSE;
        if (const DWORD error = opened.Open(path, record))
            return isLeft && error == ERROR_FILE_NOT_FOUND ? DWORD(0) : error;
        if (record.status == Status::Running) return DWORD(ERROR_INVALID_DATA);
        RemoveKept(path, record);
        opened.Close();
        return ::DeleteFileA(path.c_str()) ? DWORD(0) : GetLastError();
    });
}
