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

// As checked_file does.
void Write(const std::string& file, const Json& plan);
Json Read(const std::string& file);
std::vector<std::pair<std::string, std::string>> Records(const Json& plan);

}  // namespace plans

#endif
