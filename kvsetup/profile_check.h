// Checks of profile files (answers, SETUP.INF) against a table of the keys that the library reads in them.
#ifndef INSTALIB_KVSETUP_PROFILE_CHECK_H
#define INSTALIB_KVSETUP_PROFILE_CHECK_H

#include <span>
#include <string>
#include <vector>

#include "kvsetup/console.h"

namespace profile_check {

enum class Kind { Text, Path, Flag, YesNo, Number, PlainPassword, ScrambledPassword, Range };

// A key "Xnn" stands for X01 to X99, "*" for every key of the section.
struct Key {
    const char* section;
    const char* key;
    Kind kind;
    int limit;             // the largest number of Number, else the characters that are kept
    const char* fallback;  // what a missing key counts as
    const char* meaning;
};

struct Finding {
    int line = 0;  // 0: the file as a whole
    bool isError = true;
    bool isPassword = false;  // a clear text where a scrambled one belongs: no setup may go on with it
    std::string message;
};

// What can be entered, in words.
std::string AllowedValues(const Key& key);
// Reads the file of the host; a Failure says in one line why that cannot be done.
std::string ReadFile(const std::string& file);
// All that is wrong or doubtful in the file's bytes. Values of passwords are not repeated.
std::vector<Finding> Check(std::string bytes, std::span<const Key> keys);
// The table as Markdown, and as a commented file (`preset`: keys are there with their defaults, commented out).
std::string Markdown(std::span<const Key> keys);
std::string CommentedFile(std::span<const Key> keys);
// Prints the findings, or JSON that has `more` too, and gives the exit code.
int Report(const std::string& file, const std::vector<Finding>& findings, bool json, const Json& more = Json::object());

}  // namespace profile_check

#endif
