// CSetupRecord: what a setup changes, on record, so that it can be taken back: at once, after a crash, or much later.
//
// While a record runs, every change that the library makes of this machine (keys, values, services, directories,
// deletions, accounts, rights, shares, ...) is entered in the record's file, with what was there until then, before it
// is made. A change that cannot be entered is refused: the library's operation then fails with the error that kept it
// from being entered. Changes by others - the front end's own, those of started programs and product libraries - are
// none of the library's; the last two are named in the record. Logs are no changes.
//
//     CSetupRecord record;
//     if (!record.Begin("C:\\SETUP\\KORVAULT.REC")) ...
//     record.Mark("Create the directories"); ... record.Mark("Register the product"); ...
//     succeeded ? record.Commit() : record.Rollback();
//
// The file is appended to and written through to the disk before each change, so that CSetupRecord::Recover takes
// everything back after a crash or a power cut, from the file alone. It is readable by administrators only. Passwords
// are never in it: only that they were changed. Deleted files are not deleted but kept in the folder "FILE.kept" beside
// the record (on another drive: in its root), until Forget.
//
// Taking back goes backwards. What is not any more as the setup left it, because somebody else has changed it since, is
// left as it is and named (LeftCount, GetLeft); so is what can never be taken back: a deleted account, a password, a
// program that was started. Every step may be run again.
//
// C++ only. One record at a time per process. Operations answer nonzero for success and 0 for failure with the Windows
// error in the last-error value.
#ifndef INSTALIB_SETUP_RECORD_H
#define INSTALIB_SETUP_RECORD_H

#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

// One object of one change.
struct tagSETUP_CHANGE {
    CString sKind;    // "key", "value", "key security", "service", "service state", "directory", "file", "attributes",
                      // "file security", "profile entry", "account", "member", "rights", "share", "environment",
                      // "outside" (what others did)
    CString sName;    // in full: "\REGISTRY\MACHINE\SOFTWARE\...", "C:\DIR", "SERVER\NAME" (no server: this machine)
    CString sPart;    // the value's name, the member's identifier, "[section] key" of a profile entry; else empty
    CString sStage;   // the text of the mark before it; empty before the first
    CString sBefore;  // what was there, for people; empty: nothing
    CString sAfter;   // what was there after the call; "?" when it never came back
    DWORD dwError;    // of the call; 0: it succeeded. Of GetLeft: why it was not taken back
    int bUndone;      // it was taken back
};

class INSTALIB_API CSetupRecord {
  public:
    // What became of a record.
    enum State { None, Running, Committed, RolledBack };
    // Of GetLeft: somebody has changed it since (ERROR_CAN_NOT_COMPLETE), or it can never be taken back
    // (ERROR_NOT_SUPPORTED). Any other is a Windows error, and another attempt may succeed.
    enum { ChangedSince = 1003, NeverTakenBack = 50 };

    CSetupRecord();
    // A record that still runs is left as a crash would leave it.
    ~CSetupRecord();

    // Begins a record in a new file. ERROR_FILE_EXISTS (80) when there is one, ERROR_BUSY (170) while a record runs.
    int Begin(const char* file);
    // A stage begins. What was entered so far is on the disk.
    int Mark(const char* stage);
    // The setup is complete. The file stays, so that Recover can take everything back later. While a plan is followed:
    // ChangedSince when not all of it was done.
    int Commit();
    // Takes everything back and ends the record. Success when nothing is left but what others did ("outside"), which is
    // named by GetLeft and nothing more; else the last error is that of the first other thing left.
    int Rollback();
    // Goes on behind the last whole stage of a record that a crash ended: what came behind its last mark is taken back,
    // later changes are entered behind it. The stage of the last mark is to be run again.
    int Resume(const char* file);
    // Takes back what a file tells, whether its setup was completed or not. Result as Rollback; a file that is no whole
    // record (ERROR_INVALID_DATA), is of another version (1306) or another machine (1210) changes nothing.
    int Recover(const char* file);
    // From now on the running record admits only the changes that the record `plan`, made by the same setup on a copy
    // of this machine, has: in its order, each while its object is as the plan saw it, with the plan's result. Any
    // other is refused with ChangedSince before it is made, and everything after it; GetDeparture tells which. `again`
    // is the record of a second rehearsal: what differs between the two (times, new identifiers) differs by nature and
    // is not compared. ERROR_INVALID_DATA when they are no completed records of the same setup. Machines are not
    // compared.
    int Follow(const char* plan, const char* again = nullptr);
    // The same from the files' bytes.
    int FollowBytes(const void* plan, DWORD size, const void* again, DWORD againSize);
    // Where the setup left its plan: what the plan has there, and what was to be done instead. Either has no kind when
    // there was nothing more. 0 while the plan is followed.
    int GetDeparture(tagSETUP_CHANGE& expected, tagSETUP_CHANGE& found) const;
    // Of two records of the same setup (this one and another object's): whether the change with this index differs
    // between them by its name or part, by what was there before, and by what came of it.
    enum Variation { Same = 0, Named = 1, Before = 2, After = 4 };
    // Variation's values, added. 0 for an index that is none, too.
    int Compare(const CSetupRecord& again, int index) const;
    // Whether the two are of the same setup: the same stages, the same changes of the same kinds in the same order.
    int IsLike(const CSetupRecord& again) const;

    // Compares the machine with what `count` records of finished setups, the oldest first, have left. Success when it
    // could be compared; what is no longer as it was set tell LeftCount and GetLeft then: sBefore as it was set (empty:
    // added since, in a key that the setup has made), sAfter as it is now (empty: gone), dwError ChangedSince, or the
    // Windows error that kept it from being looked at. Never compared are passwords, whether services run, deleted
    // files and what others did. Fails like Read, and while a record runs here.
    int Verify(const char* const* files, int count);
    // Sets the difference with this index of another object's last Verify right, as a change of this running record;
    // what was added is removed, unless it is a key that holds others. NeverTakenBack for a deleted account.
    int Repair(const CSetupRecord& verified, int index);

    // Reads a record for the functions below. While one runs here, they tell of it without.
    int Read(const char* file);
    State GetState() const;
    int Count() const;
    // 0 for an index that is none.
    int Get(int index, tagSETUP_CHANGE& change) const;
    int MarkCount() const;
    // Empty for an index that is none.
    CString GetMark(int index) const;
    // What the last Rollback, Resume or Recover left, or what the last Verify found.
    int LeftCount() const;
    int GetLeft(int index, tagSETUP_CHANGE& change) const;

    // Deletes a record that does not run any more, and the deleted files that it keeps: from now on nothing is taken
    // back. ERROR_INVALID_DATA when the record was neither completed nor taken back.
    // It also deletes what a crash has left of a record that never began: a file of that name with ".new" behind it.
    static int Forget(const char* file);

  private:
    CSetupRecord(const CSetupRecord&);
    CSetupRecord& operator=(const CSetupRecord&);

    struct Content;
    Content* m_content;
};

#endif
