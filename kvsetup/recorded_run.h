// Setups on record: where the records stand, the run of one, and what is done with those that were left.
//
// The records are "KVSETUP.N.REC" on the drive of Program Files, N from 1 on, the newest with the highest number. The
// first mark of each says what it is the record of: "install PRODUCT" or "uninstall PRODUCT".
#ifndef INSTALIB_KVSETUP_RECORDED_RUN_H
#define INSTALIB_KVSETUP_RECORDED_RUN_H

#include <optional>

#include "kvsetup/stages.h"

// "value HKEY_LOCAL_MACHINE\\SOFTWARE\\X, Path: nothing -> C:\\X"
std::string ChangeText(const tagSETUP_CHANGE& change);

namespace records {

struct Found {
    std::string file;
    int number = 0;
    CSetupRecord::State state = CSetupRecord::None;  // None: it cannot be read
    DWORD error = 0;                                 // then: why
    std::string what;
    int changes = 0;
};

// All of this machine, the oldest first.
std::vector<Found> All();
// The one that a crash has left, while no setup is at work.
std::optional<Found> Unfinished();
// Before another setup: takes back what a crash has left, and says so. Throws a Failure when that cannot be done.
void TakeBackUnfinished(bool quiet);
// Takes the record's changes back and tells what became of each stage, printed or in `report`. The record goes when
// nothing more can be done with it. False when something is left.
bool TakeBack(const Found& found, bool quiet, Json& report);

// Names a new record, the newest. Empty when there are too many.
std::string NewFile();
// Removes what a crash has left of a record that never began.
void Sweep();
// Removes a record and what it keeps.
void Forget(const std::string& file);
// What a setup's record is of: "ZephraniteCB" of "install ZephraniteCB".
std::string ProductOf(const std::string& what);

// Of a setup that is only rehearsed: the records that it completed, in their order. They stay.
struct Rehearsal {
    std::vector<std::string> files;
};
// Of a setup that follows a plan: the bytes of the records of two rehearsals, one pair for each record that it begins.
struct Following {
    std::vector<std::pair<std::string, std::string>> records;
    std::size_t next = 0;
};

}  // namespace records

class RecordedRun {
  public:
    // `kind` is "install" or "uninstall". With `keep` a failure takes nothing back. `resume` goes on with the record
    // that was left, which must be of the same kind and product. Throws a Failure when there can be no record.
    RecordedRun(Session& session, const Options& options, const std::string& kind, bool keep, bool resume = false);

    // Runs them and adds them to the report's "stages".
    bool Stages(const std::vector<Stage>& stages, StageContext& context, bool keepGoing, Json& report);
    // Keeps the record for a later `undo`; one without a change goes. False when a plan was followed and not all of it
    // was done.
    bool Complete();
    // The product is gone, and with it the records of its setups.
    bool CompleteRemoval();
    // Removes a record that was completed: nothing takes it back any more.
    void Forget();
    // After a failure or a cancellation: throws the Failure that says what became of it, and `state` last. With `keep`
    // nothing happens.
    void TakeBack(StageContext& context, Json& report, const std::string& state = "");

  private:
    void TellDeparture(Json& report);
    bool End();

    Session& m_session;
    const Options& m_options;
    std::string m_what;
    std::string m_file;
    bool m_keep;
    CSetupRecord m_record;
    std::vector<std::string> m_finished;
};

#endif
