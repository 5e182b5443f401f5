// The modules of Windows itself: what stands in the system directory of a fresh machine, and which of their entry
// points the embedded machine answers.
#ifndef INSTALIB_EMBEDDED_MODULES_BUILTIN_H
#define INSTALIB_EMBEDDED_MODULES_BUILTIN_H

#include <span>
#include <string_view>

#include "platform/embedded/api/base.h"

namespace embedded::builtin {

struct EntryPoint {
    const char* name;
    WORD ordinal;      // 0: by name alone
    FARPROC function;  // null: the embedded machine's export of that name, when it has one
};

struct Module {
    const char* name;         // as its file is called
    const char* description;  // FileDescription of its version resource
    // One of the modules that Windows has loaded before a program starts: found by name whatever the directories hold.
    bool isKnown;
    std::span<const EntryPoint> entries;
    WORD version[4] = {10, 0, 19041, 1};
};

std::span<const Module> All();
const Module* Find(std::string_view name);
// Null when the module lacks it or control hid it. `ordinal` when `name` is null.
FARPROC Address(const Module& module, const char* name, WORD ordinal);
bool IsHidden(const Module& module);

}  // namespace embedded::builtin

#endif
