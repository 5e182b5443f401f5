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
        std::cout << line << (count == 0 ? " taken back" : " " + std::to_string(count) + " left") << std::endl;
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

void Forget(const std::string& file) {
    if (!CSetupRecord::Forget(file.c_str()))
        console::Warn("the record " + file + " cannot be removed: " + host::ErrorText(host::LastError()));
}

}  // namespace

namespace records {

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

RecordedRun::RecordedRun(Session& session, const std::string& kind, bool keep, bool resume)
    : m_session(session), m_what(kind + " " + session.productId), m_keep(keep) {
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
    const std::vector<records::Found> all = records::All();
    const int number = all.empty() ? 1 : all.back().number + 1;
    m_file = FileOf(number);
    if (number > kMostRecords || !m_record.Begin(m_file.c_str()) || !m_record.Mark(m_what.c_str())) {
        const DWORD error = host::LastError();
        throw Failure{kFailed, "the record " + m_file + " cannot be begun: " + host::ErrorText(error)};
    }
    m_session.Log("On record in " + m_file);
}

bool RecordedRun::Stages(const std::vector<Stage>& stages, StageContext& context, bool keepGoing, Json& report) {
    context.record = &m_record;
    context.finished = m_finished;
    return RunStages(stages, context, keepGoing, report);
}

void RecordedRun::Complete() {
    if (!m_record.Commit() && !m_record.Commit()) {
        console::Warn("the record " + m_file + " cannot be completed: " + host::ErrorText(host::LastError()));
        return;
    }
    if (!Changes(m_record)) Forget(m_file);
}

void RecordedRun::CompleteRemoval() {
    Complete();
    const std::string product = m_what.substr(m_what.find(' ') + 1);
    for (const records::Found& found : records::All()) {
        if (found.what.ends_with(" " + product) && found.state == CSetupRecord::Committed) Forget(found.file);
    }
}

void RecordedRun::TakeBack(StageContext& context, Json& report) {
    if (m_keep) {
        Complete();
        return;
    }
    const bool whole = m_record.Rollback() != 0;
    Tell(m_record, m_session.json, report);
    m_session.Log(whole ? "Everything was taken back" : "Not everything could be taken back");
    if (m_record.GetState() == CSetupRecord::RolledBack) Forget(m_file);
    report["succeeded"] = false;
    report["log"] = m_session.log;
    if (m_session.json) console::PrintJson(report);
    const std::string outcome =
        whole ? "everything was taken back" : "not everything could be taken back; what is left is named above";
    if (context.cancelled) throw Failure{kCancelled, "cancelled; " + outcome};
    throw Failure{kFailed, m_what + " failed; " + outcome + "; the log is " + m_session.log};
}
