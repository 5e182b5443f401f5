// What a setup reads and changes of a machine, as data: `kvsetup capture` writes it down, and the embedded machine is
// made from it (capture_embedded.cpp).
//
// "computer", "user", "codePage", "windows" (platform, major, minor, build, servicePack), "directories", "drives"
// (letter and what Windows tells of it), "registry": the branches of CapturedBranches with their keys, none when the
// branch is not there ("missing" is the first key on its way that is not), "isRead" false when it could not be read;
// "running": the services that run; "accounts": "sid" of
// the machine, "lanGroup", "users", "groups", each with its rights; "problems": what could not be read, in lines.
// Services and shares are in the registry, where Windows keeps them.
//
// No secrets are in it: of values whose name names a password only the name is.
#ifndef INSTALIB_KVSETUP_CAPTURE_H
#define INSTALIB_KVSETUP_CAPTURE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kvsetup/checked_file.h"
#include "kvsetup/console.h"
#include "kvsetup/options.h"

namespace capture {

inline constexpr checked_file::Kind kFile{"kvsetupCapture", "capture", 1};

// How much of a branch is captured: the key's own values, those of the keys right below it as well, or all.
enum class Depth { Own, Children, Whole };
struct Branch {
    const char* root;  // HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER
    std::string path;
    Depth depth;

    std::string Name() const { return std::string(root) + '\\' + path; }
    bool IsUsers() const { return std::string_view(root) == "HKEY_CURRENT_USER"; }
};
// A branch that lies in another one comes behind it.
const std::vector<Branch>& CapturedBranches();

Json CaptureMachine();

// The embedded machine `folder`, which must not be there yet, from a capture's file; its last name is the captured
// computer's. All of it or nothing. The lines of what it could not take over. Offered where there is an embedded
// machine.
Json MakeMachine(const std::string& folder, const std::string& file);

// From the machine's code page to UTF-8 and back. False when a character has no counterpart.
bool ToUtf8(const std::string& text, std::string& utf8);
bool FromUtf8(const std::string& utf8, std::string& text);

}  // namespace capture

void AddCaptureCommand(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
