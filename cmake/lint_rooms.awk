# Checks the includes of platform/embedded/ against cmake/rooms.txt: awk -f lint_rooms.awk rooms.txt FILE...
function name_of(path) { sub(/^.*platform\/embedded\//, "", path); return path }
FNR == 1 { is_rules = FILENAME ~ /rooms\.txt$/; file = name_of(FILENAME); room = file; sub(/\/.*/, "", room) }
is_rules && $1 == "room" { rank[$2] = ++rooms }
is_rules && $1 == "except" { unused[$2 " " $3] = 1 }
is_rules { next }
FNR == 1 && !(room in rank) && room != "api" && room != "control" { print file ": a room that rooms.txt does not know" }
/^#include "platform\/embedded\// {
    split($0, part, "\"")
    header = name_of(part[2])
    other = header
    sub(/\/.*/, "", other)
    if (other == room || other == "api" || (other == "control" && room != "api")) next
    if (other in rank && room in rank && rank[other] < rank[room]) next
    pair = file " " header
    if (pair in unused) { used[pair] = 1; next }
    print file ":" FNR ": includes " header
}
END { for (pair in unused) if (!(pair in used)) print "rooms.txt: nobody needs the exception " pair }
