#include "changes/recorder.h"

#include <algorithm>
#include <cstdio>

#include "changes/changing.h"
#include "changes/descriptors.h"
#include "changes/names.h"

namespace changes {
namespace {

constexpr DWORD kBusy = 170;  // ERROR_BUSY

// What a system without a family of calls answers: its objects cannot be told, and it will not change them either.
bool IsUntold(DWORD error) {
    constexpr DWORD kUnknownInterface = 1717;  // RPC_S_UNKNOWN_IF
    return error == ERROR_NOT_SUPPORTED || error == ERROR_CALL_NOT_IMPLEMENTED || error == kUnknownInterface;
}

std::string NewId() {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    char text[40];
    std::snprintf(text, sizeof text, "%08X%08X-%X", unsigned(time.dwHighDateTime), unsigned(time.dwLowDateTime),
                  unsigned(GetCurrentProcessId()));
    return text;
}

}  // namespace

void Subjects::Add(Kind kind, std::string name, std::string part, bool secret) {
    if (name.empty()) return Refuse(ERROR_INVALID_NAME);
    Step step;
    step.object = {kind, std::move(name), std::move(part), secret};
    m_steps.push_back(std::move(step));
}

void Subjects::Add(Kind kind, std::string name, std::string part, State intended) {
    const std::size_t count = m_steps.size();
    Add(kind, std::move(name), std::move(part));
    if (m_steps.size() == count) return;
    m_steps.back().hasIntended = true;
    m_steps.back().intended = std::move(intended);
}

Recorder& Recorder::The() {
    static Recorder recorder;
    return recorder;
}

DWORD Recorder::Begin(const std::string& path) {
    const std::lock_guard lock(m_change);
    if (m_file.IsOpen()) return kBusy;
    m_record = {};
    m_record.machine = ThisMachine();
    m_record.id = NewId();
    const std::string full = names::FullPath(path.c_str());
    if (full.empty()) return ERROR_INVALID_NAME;
    if (const DWORD error = m_file.Create(full, m_record)) return error;
    m_plan.reset();
    m_departure.reset();
    m_kept = 0;
    changing::door::recording = true;
    return 0;
}

DWORD Recorder::Resume(const std::string& path, std::vector<Left>& left) {
    const std::lock_guard lock(m_change);
    if (m_file.IsOpen()) return kBusy;
    Record record;
    if (const DWORD error = m_file.Open(names::FullPath(path.c_str()), record)) return error;
    if (record.status != Status::Running) {
        m_file.Close();
        return ERROR_INVALID_DATA;
    }
    const auto unfinished = std::find_if(record.changes.begin(), record.changes.end(),
                                         [&](const Change& change) { return change.stage == record.marks.size(); });
    // The process's environment of then is gone: what was set is not there any more and needs no taking back.
    Undo(record, m_file, std::size_t(unfinished - record.changes.begin()), false, left);
    m_record = std::move(record);
    m_plan.reset();
    m_kept = DWORD(m_record.changes.size());
    changing::door::recording = true;
    return 0;
}

DWORD Recorder::Mark(const std::string& stage) {
    const std::lock_guard lock(m_change);
    if (!m_file.IsOpen()) return ERROR_INVALID_HANDLE;
    const DWORD error = m_file.Mark(stage);
    if (error == 0) m_record.marks.push_back(stage);
    return error;
}

DWORD Recorder::Commit() {
    const std::lock_guard lock(m_change);
    if (!m_file.IsOpen()) return ERROR_INVALID_HANDLE;
    if (m_departure && !m_departure->found.steps.empty()) return kOtherwise;
    if (m_plan && !m_plan->IsAtEnd()) return Depart(m_plan->Next(), nullptr);
    const DWORD error = m_file.End(Status::Committed);
    if (error == 0) Stop();
    return error;
}

DWORD Recorder::Rollback(std::vector<Left>& left) {
    const std::lock_guard lock(m_change);
    if (!m_file.IsOpen()) return ERROR_INVALID_HANDLE;
    changing::door::recording = false;
    Undo(m_record, m_file, 0, true, left);
    Stop();
    return 0;
}

void Recorder::Abandon() {
    const std::lock_guard lock(m_change);
    if (m_file.IsOpen()) Stop();
}

void Recorder::Stop() {
    changing::door::recording = false;
    m_file.Close();
    m_plan.reset();
    const std::lock_guard lock(m_names);
    m_handles.clear();
}

void Recorder::Follow(Plan plan) {
    const std::lock_guard lock(m_change);
    m_plan = std::move(plan);
    m_departure.reset();
}

DWORD Recorder::Depart(const Change* expected, const Change* found) {
    m_departure.emplace();
    if (expected != nullptr) m_departure->expected = *expected;
    if (found != nullptr) m_departure->found = *found;
    return kOtherwise;
}

DWORD Recorder::CheckPlan(const Change& change) {
    if (!m_plan) return 0;
    // A record that was to end too early goes on.
    if (m_departure && m_departure->found.steps.empty()) m_departure.reset();
    if (m_departure) return kOtherwise;
    return m_plan->Admits(change) ? 0 : Depart(m_plan->Next(), &change);
}

DWORD Recorder::Set(const Object& object, const State& wanted) {
    Step step;
    step.object = object;
    step.hasIntended = true;
    step.intended = wanted;
    if (const DWORD error = Start({step})) return error;
    const DWORD error = RowOf(object.kind).write(object, m_record.changes.back().steps[0].before, wanted);
    Finish(error);
    return error;
}

DWORD Recorder::Start(std::vector<Step> steps) {
    m_change.lock();
    DWORD error = 0;
    Change change;
    change.steps = std::move(steps);
    change.stage = m_record.marks.size();
    for (Step& step : change.steps) {
        const DWORD read = RowOf(step.object.kind).read(step.object, step.before);
        step.unreadable = step.object.kind == Kind::Outside || IsUntold(read);
        if (read != 0 && !step.unreadable && error == 0) error = read;
    }
    // Nothing is recorded any more when another thread has ended the record meanwhile.
    if (error == 0) error = m_file.IsOpen() ? CheckPlan(change) : DWORD(ERROR_INVALID_HANDLE);
    if (error == 0) error = m_file.Before(change);
    if (error == 0) m_record.changes.push_back(std::move(change));
    if (error != 0) m_change.unlock();
    return error;
}

void Recorder::Finish(DWORD error) {
    Change& change = m_record.changes.back();
    for (Step& step : change.steps) step.afterKnown = RowOf(step.object.kind).read(step.object, step.after) == 0;
    change.finished = true;
    change.error = error;
    m_file.QueueAfter(change);
    // What came of a change is known only now; then it is the next one that is refused.
    if (m_plan && !m_departure && !m_plan->HadResult(change)) Depart(m_plan->Next(), &change);
    m_change.unlock();
}

std::string KeptFolder(const std::string& record, const std::string& path) {
    if (EqualNoCase(record.substr(0, 2), path.substr(0, 2)) || path.size() < 3 || path[1] != ':')
        return record + ".kept";
    return path.substr(0, 3) + record.substr(record.rfind('\\') + 1) + ".kept";
}

DWORD Recorder::NextKept(const std::string& path, std::string& kept) {
    const std::lock_guard lock(m_change);
    const std::string folder = KeptFolder(m_file.Path(), path);
    const PSECURITY_DESCRIPTOR security = descriptors::ForAdministrators();
    if (security == nullptr) return GetLastError();
    SECURITY_ATTRIBUTES attributes{sizeof attributes, security, FALSE};
    if (::CreateDirectoryA(folder.c_str(), &attributes)) {
        if (!::SetFileSecurityA(folder.c_str(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                security))
            return GetLastError();
    } else if (GetLastError() != ERROR_ALREADY_EXISTS) {
        return GetLastError();
    }
    kept = folder + "\\" + std::to_string(++m_kept);
    return 0;
}

void Recorder::Learn(const void* handle, const std::string& name) {
    const std::lock_guard lock(m_names);
    m_handles[handle] = name;
}

std::string Recorder::NameOf(const void* handle) {
    const std::lock_guard lock(m_names);
    const auto found = m_handles.find(handle);
    return found == m_handles.end() ? std::string() : found->second;
}

}  // namespace changes
