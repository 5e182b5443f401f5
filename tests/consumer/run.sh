# Installs a build and builds and runs a program against it: run.sh CMAKE BUILD SOURCE
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" --install "$2" --prefix "$work/prefix" >"$work/log" || { cat "$work/log"; exit 1; }
"$1" -G Ninja -S "$3" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/log" || { cat "$work/log"; exit 1; }
"$1" --build "$work/build" >"$work/log" || { cat "$work/log"; exit 1; }
INSTALIB_MACHINE="$work/machine/TESTPC" "$work/build/consumer"
"$work/prefix/bin/kvsetup" --version
"$work/prefix/bin/kvsetup" manual | cmp - "$work/prefix/share/man/man1/kvsetup.1"
grep -q "_kvsetup kvsetup" "$work/prefix/share/bash-completion/completions/kvsetup"
