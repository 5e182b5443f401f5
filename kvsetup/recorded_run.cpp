#include "kvsetup/recorded_run.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <set>

#include "instalib/computer.h"
#include "instalib/probes.h"
#include "kvsetup/host.h"
#include "kvsetup/interruption.h"

namespace {

constexpr int kMostRecords = 99;

std::string Drive() {
    char path[260] = "";
    DWORD size = sizeof path;
    if (KSetGetProgramFilesPath(path, &size, nullptr) != 0 || path[1] != ':')
        return std::string(1, CComputer::FindFirstHardDrive()) + ":";
    return std::string(path, 2);
}

std::string FileOf(int number) { return Drive() + "\\KVSETUP." + std::to_string(number) + ".REC"; }

bool Changes(const CSetupRecord& record) {
    tagSETUP_CHANGE change;
    for (int i = 0; i < record.Count(); ++i) {
        if (record.Get(i, change) && std::string(change.sBefore) != static_cast<const char*>(change.sAfter))
            return true;
    }
    return false;
}

std::string ObjectText(const tagSETUP_CHANGE& change) {
    std::string text = std::string(change.sKind) + " " + static_cast<const char*>(change.sName);
    if (!change.sPart.IsEmpty()) text += std::string(", ") + static_cast<const char*>(change.sPart);
    return text;
}

std::string Reason(DWORD error) {
    if (error == CSetupRecord::ChangedSince) return "somebody else has changed it since";
    if (error == CSetupRecord::NeverTakenBack) return "this can never be taken back";
    return host::ErrorText(error);
}

// What became of the stages, the last first, and what is left. The first mark names the setup and is no stage.
void Tell(const CSetupRecord& record, bool quiet, Json& report) {
    std::map<std::string, int> left;
    std::set<std::string> outside, told;
    Json objects = Json::array();
    tagSETUP_CHANGE change;
    for (int i = 0; record.GetLeft(i, change); ++i) {
        // Only what the setup itself has changed can be left; what others did for it is named.
        if (std::string(change.sKind) == "outside") {
            outside.insert(static_cast<const char*>(change.sName));
            continue;
        }
        ++left[static_cast<const char*>(change.sStage)];
        objects.push_back({{"stage", static_cast<const char*>(change.sStage)},
                           {"object", ObjectText(change)},
                           {"reason", Reason(change.dwError)}});
    }
    Json stages = Json::array();
    for (int i = record.MarkCount() - 1; i > 0; --i) {
        const std::string title = static_cast<const char*>(record.GetMark(i));
        if (!told.insert(title).second) continue;  // gone on with: it was begun twice
        const int count = left[title];
        stages.push_back({{"stage", title}, {"left", count}});
        if (quiet) continue;
        std::string line = "[back] " + title + " ";
        if (line.size() < 56) line.resize(56, '.');
        std::cout << line << (count == 0 ? " taken back" : std::string(" ") + std::to_string(count) + " left")
                  << std::endl;
    }
    report["takenBack"] = stages;
    report["left"] = objects;
    report["byOthers"] = outside;
    for (const std::string& what : outside) {
        if (!quiet) std::cout << "By others, not taken back: " << console::Printable(what) << '\n';
    }
    for (const Json& object : objects) {
        if (quiet) break;
        std::cout << "Left: " << console::Printable(object["object"].get<std::string>()) << ": "
                  << object["reason"].get<std::string>() << '\n';
    }
}

}  // namespace

std::string ChangeText(const tagSETUP_CHANGE& change) {
    if (change.sKind.IsEmpty()) return "nothing more";
    const auto text = [](const CString& state) {
        return state.IsEmpty() ? "nothing" : static_cast<const char*>(state);
    };
    return ObjectText(change) + ": " + text(change.sBefore) + " -> " + text(change.sAfter);
}

namespace records {

void Forget(const std::string& file) {
    if (!CSetupRecord::Forget(file.c_str()))
        console::Warn("the record " + file + " cannot be removed: " + host::ErrorText(host::LastError()));
}

void Sweep() {
    const std::string file = NewFile();
    if (!file.empty() && CComputer::PathExists((file + ".new").c_str())) Forget(file);
}

std::string NewFile() {
    const std::vector<Found> all = All();
    const int number = all.empty() ? 1 : all.back().number + 1;
    return number > kMostRecords ? "" : FileOf(number);
}

std::string ProductOf(const std::string& what) { return what.substr(std::min(what.find(' ') + 1, what.size())); }

std::vector<Found> All() {
    std::vector<Found> all;
    for (int number = 1; number <= kMostRecords; ++number) {
        Found found;
        found.file = FileOf(number);
        found.number = number;
        if (!CComputer::PathExists(found.file.c_str())) continue;
        CSetupRecord record;
        if (record.Read(found.file.c_str())) {
            found.state = record.GetState();
            found.what = static_cast<const char*>(record.GetMark(0));
            found.changes = record.Count();
        } else {
            found.error = host::LastError();
        }
        all.push_back(found);
    }
    return all;
}

std::optional<Found> Unfinished() {
    for (const Found& found : All()) {
        if (found.state == CSetupRecord::Running) return found;
    }
    return std::nullopt;
}

bool TakeBack(const Found& found, bool quiet, Json& report) {
    CSetupRecord record;
    const bool whole = record.Recover(found.file.c_str()) != 0;
    const DWORD error = host::LastError();
    if (!whole && record.LeftCount() == 0)
        throw Failure{kBadInput, "the record " + found.file + " cannot be used: " + host::ErrorText(error)};
    Tell(record, quiet, report);
    if (record.GetState() == CSetupRecord::RolledBack) Forget(found.file);
    return whole;
}

void TakeBackUnfinished(bool quiet) {
    Sweep();
    while (const std::optional<Found> found = Unfinished()) {
        console::Warn("found an interrupted setup (" + found->what + ", " + found->file + "): taking it back first");
        Json report;
        TakeBack(*found, quiet, report);
        for (const Json& left : report["left"])
            console::Warn("left: " + left["object"].get<std::string>() + ": " + left["reason"].get<std::string>());
        if (CComputer::PathExists(found->file.c_str()))
            throw Failure{kFailed, "the interrupted setup cannot be taken back; see kvsetup recover"};
    }
}

}  // namespace records

RecordedRun::RecordedRun(Session& session, const Options& options, const std::string& kind, bool keep, bool resume)
    : m_session(session), m_options(options), m_what(kind + " " + session.productId), m_keep(keep) {
    interruption::Note();
    if (resume) {
        const std::optional<records::Found> found = records::Unfinished();
        if (!found) throw Failure{kNothingToDo, "there is no interrupted setup to go on with"};
        if (found->what != m_what) throw Failure{kNothingToDo, "the interrupted setup is another one: " + found->what};
        m_file = found->file;
        if (!m_record.Resume(m_file.c_str()))
            throw Failure{kFailed, "the record " + m_file + " cannot be used: " + host::ErrorText(host::LastError())};
        for (int i = 0; i + 1 < m_record.MarkCount(); ++i)
            m_finished.push_back(static_cast<const char*>(m_record.GetMark(i)));
        m_session.Log("Going on with the record " + m_file);
        return;
    }
    m_file = records::NewFile();
    if (m_file.empty()) throw Failure{kFailed, "there are too many records on this machine; see kvsetup undo"};
    if (!m_record.Begin(m_file.c_str()) || !m_record.Mark(m_what.c_str())) {
        const DWORD error = host::LastError();
        throw Failure{kFailed, "the record " + m_file + " cannot be begun: " + host::ErrorText(error)};
    }
    if (records::Following* const plan = options.plan) {
        const bool isThere = plan->next < plan->records.size();
        const auto& [first, again] = isThere ? plan->records[plan->next++] : plan->records.front();
        if (!isThere || !m_record.FollowBytes(first.data(), DWORD(first.size()), again.data(), DWORD(again.size()))) {
            m_record.Rollback();
            records::Forget(m_file);
            throw Failure{kBadInput, "the plan is not one of this setup"};
        }
    }
    m_session.Log("On record in " + m_file);
}

bool RecordedRun::Stages(const std::vector<Stage>& stages, StageContext& context, bool keepGoing, Json& report) {
    context.record = &m_record;
    context.finished = m_finished;
    // A list of its own while they run: a stage may add to the report, which moves what is in it.
    Json done = report.value("stages", Json::array());
    const bool succeeded = RunStages(stages, context, keepGoing, done);
    report["stages"] = done;
    return succeeded;
}

bool RecordedRun::End() {
    if (m_record.Commit() || m_record.Commit()) return true;
    if (m_options.plan != nullptr && host::LastError() == CSetupRecord::ChangedSince) return false;
    console::Warn("the record " + m_file + " cannot be completed: " + host::ErrorText(host::LastError()));
    return true;
}

bool RecordedRun::Complete() {
    if (!End()) return false;
    if (m_options.rehearsal != nullptr) {
        m_options.rehearsal->files.push_back(m_file);
    } else if (m_record.GetState() == CSetupRecord::Committed && !Changes(m_record)) {
        records::Forget(m_file);
    }
    return true;
}

void RecordedRun::Forget() {
    if (m_options.rehearsal == nullptr && CComputer::PathExists(m_file.c_str())) records::Forget(m_file);
}

bool RecordedRun::CompleteRemoval() {
    if (!Complete()) return false;
    if (m_options.rehearsal != nullptr) return true;
    const std::string product = records::ProductOf(m_what);
    for (const records::Found& found : records::All()) {
        const bool isOfProduct = records::ProductOf(found.what) == product;
        if (isOfProduct && found.state == CSetupRecord::Committed) records::Forget(found.file);
    }
    return true;
}

void RecordedRun::TellDeparture(Json& report) {
    tagSETUP_CHANGE expected, found;
    if (!m_record.GetDeparture(expected, found)) return;
    report["planned"] = ChangeText(expected);
    report["found"] = ChangeText(found);
    m_session.Log("The setup left its plan. Planned: " + ChangeText(expected) + ". Found: " + ChangeText(found));
    if (!m_session.prints) return;
    std::cout << "The setup left its plan:\n  planned  " << console::Printable(ChangeText(expected)) << "\n  found    "
              << console::Printable(ChangeText(found)) << std::endl;
}

void RecordedRun::TakeBack(StageContext& context, Json& report, const std::string& state) {
    if (m_options.rehearsal != nullptr) {
        const Json last = report["stages"].empty() ? Json() : report["stages"].back();
        throw Failure{kFailed, "the setup would fail: " + last.value("stage", "") + ": " +
                                   host::ErrorText(last.value("error", DWORD(0)))};
    }
    TellDeparture(report);
    if (m_keep && !report.contains("planned")) {
        Complete();
        return;
    }
    const bool whole = m_record.Rollback() != 0;
    Tell(m_record, !m_session.prints, report);
    m_session.Log(whole ? "Everything was taken back" : "Not everything could be taken back");
    if (m_record.GetState() == CSetupRecord::RolledBack) records::Forget(m_file);
    report["succeeded"] = false;
    report["log"] = m_session.log;
    report["changed"] = !whole;
    if (m_session.json) console::PrintJson(report);
    const std::string outcome =
        (whole ? "everything was taken back" : "not everything could be taken back; what is left is named above") +
        (state.empty() ? "" : ". " + state);
    if (report.contains("planned")) throw Failure{kDiffers, m_what + " left its plan; " + outcome};
    if (context.cancelled) throw Failure{kCancelled, "cancelled; " + outcome};
    throw Failure{kFailed, m_what + " failed; " + outcome + "; the log is " + m_session.log};
}
