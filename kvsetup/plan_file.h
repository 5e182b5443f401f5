// The file of a plan: one JSON document that holds what a setup changes, for people and programs, the records of its
// two rehearsals, for the library, and whose plan it is.
//
// "kvsetupPlan" 1; "setup" install, uninstall or upgrade; "what" "install PRODUCT"; "machine"; "options" of the setup;
// "medium" and "answers": digests of their files; "stages"; "records": pairs of the rehearsals' records in hexadecimal;
// "checksum" of all of it.
#ifndef INSTALIB_KVSETUP_PLAN_FILE_H
#define INSTALIB_KVSETUP_PLAN_FILE_H

#include "kvsetup/console.h"
#include "kvsetup/options.h"
#include "kvsetup/recorded_run.h"

namespace plans {

// The setup's options, its paths made absolute.
Json DescribeOptions(const Options& options);
void TakeOptions(const Json& plan, Options& options);
// Of the files right in the medium's folder, and of the answers; null without either.
Json MediumDigest(const Options& options);
Json AnswersDigest(const Options& options);
std::string ThisMachine();

std::string ToHex(const std::string& bytes);
// Adds the checksum and writes the file; a Failure when it stands there already and is no plan, or cannot be written.
void Write(const std::string& file, Json plan);
// A plan that is whole and unedited; a Failure otherwise.
Json Read(const std::string& file);
std::vector<std::pair<std::string, std::string>> Records(const Json& plan);

}  // namespace plans

#endif
