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

library="changes foundation setupfiles registry upgrade system machine"
complain "The system is reached past platform/platform.h" \
    "$(grep -nE '\b_WIN32\b|[<"](windows|unistd|fcntl|dlfcn|aclapi|lm)\.h[>"]|[<"]sys/' -r $library kvsetup 2>/dev/null)"
complain "The library includes the embedded machine" \
    "$(grep -nE '"platform/embedded/' -r $library 2>/dev/null)"
complain "The rooms of the embedded machine include each other against their order (cmake/rooms.txt)" \
    "$(git ls-files -co --exclude-standard 'platform/embedded/*.h' 'platform/embedded/*.cpp' |
        xargs awk -f cmake/lint_rooms.awk cmake/rooms.txt)"
complain "No header of the room says what the room is for" \
    "$(for room in platform/embedded/*/; do grep -q "^// The room $(basename "$room")/: " "$room"*.h || echo "$room"; done)"
scripts="dev .ci/run demo/run.sh cmake/lint.sh tests/kvsetup/capture_proof.sh tests/consumer/run.sh"
complain "A script is not checked for the commands it calls" \
    "$({ git ls-files -co --exclude-standard '*.sh'; grep -lE '^#!' -r dev .ci; } | while read -r file; do
        case " $scripts " in *" $file "*) ;; *) echo "$file" ;; esac
    done)"
complain "A script calls a command that ./dev does not ask for (cmake/base_commands.txt)" \
    "$(awk -f cmake/lint_tools.awk cmake/base_commands.txt $scripts)"
complain "The build calls a program that ./dev does not ask for" \
    "$({ grep -q '"Ninja"' CMakePresets.json && echo ninja
        grep -ohE '^set\(CMAKE_(C|CXX|RC)_COMPILER [^)]+' cmake/*.cmake | sed 's/.* //'
        grep -ohE 'find_program\([A-Za-z_]+ +[^ )]+' -r CMakeLists.txt cmake --include=*.txt --include=*.cmake | sed 's/.* //'; } |
        while read -r program; do grep -qF "need $program " dev || echo "$program"; done)"
complain "A public header includes a private one" \
    "$(grep -nE '#include "' -r include 2>/dev/null | grep -v '#include "instalib/')"
complain "The front end includes more than the exported interface" \
    "$(grep -nE '#include "(foundation|setupfiles|registry|upgrade|system|machine|platform/(platform|handles|product))' -r kvsetup 2>/dev/null)"
complain "A raw handle is closed by hand" \
    "$(grep -nE '\b(RegCloseKey|CloseHandle|FindClose|FreeLibrary|CloseServiceHandle|LsaClose|FreeSid|NetApiBufferFree|LsaFreeMemory|HeapFree)\(' \
        -r $library 2>/dev/null)"
# Four of the names are the library's own as well: there only "::Name(" is Windows'.
changing="Reg(CreateKeyEx|DeleteKey|DeleteKeyEx|SetValueEx|DeleteValue)A|RegSetKeySecurity|SetSecurityInfo|OpenServiceA|CreateServiceA|ChangeServiceConfig2?A|DeleteService|ControlService|DeleteFileA|SetFileAttributesA|SetFileSecurityA|WritePrivateProfile(String|Section)A|NetUser(Add|Del)|NetLocalGroup(Add|Del)Members|Lsa(OpenPolicy|OpenAccount|CreateAccount|SetSystemAccessAccount|AddPrivilegesToAccount|RemovePrivilegesFromAccount)|NetShare(Add|SetInfo|Del)|CreateProcessA|_rmdir"
complain "The machine is changed past the door (changes/changing.h)" \
    "$(grep -nP "(?<![\w:>\".])(::)?($changing)\(|(?<![\w])::(CreateDirectoryA|RemoveDirectoryA|StartServiceA|SetEnvironmentVariableA)\(" \
        -r $(echo "$library" | sed 's/changes //') 2>/dev/null)"
complain "A call of a library that is loaded late loads it with the DLL (instalib_delay_load in CMakeLists.txt)" \
    "$(grep -ohP '\b(?:changing::)?\K(W?Net[A-Z]|GetFileVersionInfo|VerQuery)[A-Za-z0-9]*(?=\(|;)|&::\KNet[A-Za-z]+' -r $library 2>/dev/null | sort -u |
        while read -r call; do grep -qw "$call" CMakeLists.txt || echo "$call"; done)"
complain "A file is longer than 540 lines" \
    "$(git ls-files '*.cpp' '*.h' '*.def' | xargs wc -l 2>/dev/null | awk '$2 != "total" && $1 > 540')"
complain "A line is longer than 130 characters" \
    "$(git ls-files '*.cpp' '*.h' | xargs grep -nE '^.{131,}$' 2>/dev/null | cut -c1-100)"
complain "A name in a test's title has an underscore" \
    "$(grep -nE '^(TEST|TEST_F|TEST_P|TYPED_TEST)\([A-Za-z0-9]+, *[A-Za-z0-9]*_' -r tests 2>/dev/null | grep -v DISABLED_)"
complain "A test has left the build" "$(grep -nE 'DISABLED_|#if 0' -r tests 2>/dev/null)"
[ "$status" -ne 0 ] || echo "lint: nothing to report"
exit "$status"
