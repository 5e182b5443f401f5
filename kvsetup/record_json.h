// Records as data, for plans, verifications and reports.
#ifndef INSTALIB_KVSETUP_RECORD_JSON_H
#define INSTALIB_KVSETUP_RECORD_JSON_H

#include "instalib/setup_record.h"
#include "kvsetup/console.h"

// One change: "kind", "name", "part", "before", "after" (null: nothing), "error" of a call that failed, "varies": what
// differs by nature, a list of "name", "before", "after".
Json DescribeChange(const tagSETUP_CHANGE& change, int variation = 0);

// The stages of a record in their order, each with "stage" and "changes"; calls that changed nothing are left out. With
// the record of a second rehearsal, what differs between the two is marked. The first mark names the setup and is none.
Json DescribeStages(const CSetupRecord& record, const CSetupRecord* again = nullptr);

// "+ directory C:\DIR", "- value ...", "~ value ..., NAME: a -> b" with a remark for what differs by nature.
std::string ChangeLine(const Json& change);
void PrintStages(const Json& stages);
std::size_t CountChanges(const Json& stages);

#endif
