#!/bin/sh
# Checks of the tree that no compiler makes. Prints what is wrong and fails; prints one line when all is well.
set -u
cd "$(dirname "$0")/.."
status=0
# complain TITLE LINES: reports a check that found something.
complain() {
    [ -n "$2" ] || return 0
    printf '%s:\n%s\n' "$1" "$2"
    status=1
}

library="foundation setupfiles registry upgrade system machine"
complain "The system is reached past platform/platform.h" \
    "$(grep -nE '\b_WIN32\b|[<"](windows|unistd|fcntl|dlfcn|aclapi|lm)\.h[>"]|[<"]sys/' -r $library kvsetup 2>/dev/null)"
complain "The library includes the embedded machine" \
    "$(grep -nE '"platform/embedded/' -r $library 2>/dev/null)"
complain "A public header includes a private one" \
    "$(grep -nE '#include "' -r include 2>/dev/null | grep -v '#include "instalib/')"
complain "The front end includes more than the exported interface" \
    "$(grep -nE '#include "(foundation|setupfiles|registry|upgrade|system|machine|platform/(platform|handles|product))' -r kvsetup 2>/dev/null)"
complain "A raw handle is closed by hand" \
    "$(grep -nE '\b(RegCloseKey|CloseHandle|FindClose|FreeLibrary|CloseServiceHandle|LsaClose|FreeSid|NetApiBufferFree|LsaFreeMemory|HeapFree)\(' \
        -r $library 2>/dev/null)"
complain "A file is longer than 540 lines" \
    "$(git ls-files '*.cpp' '*.h' '*.def' | xargs wc -l 2>/dev/null | awk '$2 != "total" && $1 > 540')"
complain "A line is longer than 130 characters" \
    "$(git ls-files '*.cpp' '*.h' | xargs grep -nE '^.{131,}$' 2>/dev/null | cut -c1-100)"
complain "A name in a test's title has an underscore" \
    "$(grep -nE '^(TEST|TEST_F|TEST_P|TYPED_TEST)\([A-Za-z0-9]+, *[A-Za-z0-9]*_' -r tests 2>/dev/null | grep -v DISABLED_)"
complain "A test has left the build" "$(grep -nE 'DISABLED_|#if 0' -r tests 2>/dev/null)"
[ "$status" -ne 0 ] || echo "lint: nothing to report"
exit "$status"
