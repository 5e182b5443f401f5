#!/bin/sh
# The first run: a fresh embedded machine, an unattended installation from the demo medium and its removal, each followed by
# what it changed on the machine. Usage: demo/run.sh BUILD-FOLDER; the machine stays in BUILD-FOLDER/demo/world/KVDEMO.
set -eu
build=$1
medium=$build/demo/medium
world=$build/demo/world
machine=$world/KVDEMO
kvsetup=$build/bin/kvsetup

title() { printf '\n=== %s\n' "$1"; }

rm -rf "$world"
mkdir -p "$world"
title "A fresh machine"
"$kvsetup" machine new "$machine"
"$kvsetup" --machine "$machine" machine mount D "$medium"
"$kvsetup" --machine "$machine" machine save "$world/before.txt"

title "Unattended installation"
"$kvsetup" --machine "$machine" install --source 'D:\' --answers 'D:\ANSWERS.ICF'

title "What the installation changed"
"$kvsetup" --machine "$machine" machine diff "$world/before.txt"

title "What is installed now"
"$kvsetup" --machine "$machine" status

title "Removal"
"$kvsetup" --machine "$machine" uninstall --source 'D:\' --yes

title "The same on another machine, followed from here"
"$kvsetup" machine new "$world/KVREMOTE"
"$kvsetup" --machine "$world/KVREMOTE" machine mount D "$medium"
"$kvsetup" --machine "$machine" listen --timeout 60 >"$world/heard.txt" &
listener=$!
# The installation is refused while nobody listens.
tries=0
until "$kvsetup" --machine "$world/KVREMOTE" install --source 'D:\' --answers 'D:\ANSWERS.ICF' --host KVDEMO \
    --mif "$world/status.mif" >"$world/remote.txt" 2>&1; do
    tries=$((tries + 1))
    [ "$tries" -lt 50 ] || { cat "$world/remote.txt"; exit 1; }
    sleep 0.1
done
wait "$listener"
cat "$world/heard.txt"
tail -n 14 "$world/status.mif"

title "What is left of it"
"$kvsetup" --machine "$machine" machine diff "$world/before.txt"
