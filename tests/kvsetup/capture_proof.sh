# What is planned for a captured machine where there is no Windows is what a setup does on it: a fresh machine under
# Wine is captured and installed on; the plan on the embedded machine that the capture makes must have the same changes
# in the same order. Called by ./dev in a session with a display: capture_proof.sh LINUX-BUILD WINDOWS-BUILD,
# folders from here
set -eu
linux=$PWD/$1
windows=$PWD/$2
work=$(mktemp -d)
WINEPREFIX=$work/wine
export WINEPREFIX
trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
cd "$work"
kvsetup() { wine "$windows/bin/kvsetup.exe" "$@"; }

wine wineboot -i >/dev/null 2>&1
wineserver -w
cp -R "$windows/demo/medium" medium
# Wine looks no new users up: the setup makes none.
grep -v '^System' "$linux/demo/medium/ANSWERS.ICF" >answers.icf
kvsetup capture capture.json 2>warnings.txt
# Nor has it shares: the installation's last stage fails, and its record ends there.
kvsetup install --source medium --answers answers.icf --keep >install.txt 2>&1 || true
kvsetup report 'C:\KVSETUP.1.REC' --json >record.json || { cat install.txt; exit 1; }

machine=$work/machine/$(sed -n 's/^ *"computer": *"\(.*\)",$/\1/p' capture.json)
mkdir machine
"$linux/bin/kvsetup" machine new "$machine" --from capture.json 2>>warnings.txt
"$linux/bin/kvsetup" --machine "$machine" plan install --source "$linux/demo/medium" --answers answers.icf \
    --out plan.json >/dev/null
"$linux/bin/same_changes" plan.json record.json
