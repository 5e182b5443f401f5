# Finds the commands that shell scripts call without asking for them:
#   awk -f lint_tools.awk base_commands.txt dev SCRIPT...
# A command is known when base_commands.txt lists it, the script defines it as a function, or ./dev has a line
# "need COMMAND PACKAGE". Reads scripts as the shell does: quotes, comments, here-documents, commands in "$(...)".
FILENAME ~ /base_commands\.txt$/ { if ($1 != "#") for (i = 1; i <= NF; i++) base[$i] = 1; next }
$1 == "need" && FILENAME ~ /(^|\/)dev$/ { asked[$2] = 1 }
{ for (i = 1; i < NF; i++) if ($i == "need") asked[$(i + 1)] = 1 }
here != "" { if ($0 == here) here = ""; next }
{ Line($0) }
END {
    for (i = 1; i <= calls; i++) {
        name = called[i]
        if (!(name in base) && !(name in asked) && !((script[i], name) in defined)) print where[i] ": " name " is not asked for"
    }
}

function Call(name) {
    if (name ~ /^[A-Za-z_][A-Za-z0-9_]*=/) return  # an assignment before the command
    expecting = 0
    if (name ~ /^(if|then|else|elif|while|until|do|!|\{)$/) { expecting = 1; return }
    if (name ~ /^(for|case|in|fi|done|esac|\}|;;)$/ || name !~ /^[A-Za-z.:\[][A-Za-z0-9_.+\[-]*$/) return
    called[++calls] = name
    script[calls] = FILENAME
    where[calls] = FILENAME ":" FNR
    # These call the command that follows.
    if (name ~ /^(sudo|env|xargs|exec|xvfb-run)$/) wrapper = expecting = 1
}

function Word(word, next2) {
    if (word == "") return
    if (next2 == "()") { defined[FILENAME, word] = 1; expecting = 0; return }
    if (expecting && wrapper && word ~ /^-/) { last2 = last; last = word; return }
    if (expecting) { wrapper = 0; Call(word) }
    last2 = last
    last = word
}

function Line(text,    i, c, word, quoted, start, first) {
    expecting = depth > 0 || inQuote == "" ? (continued ? expecting : 1) : expecting
    continued = 0
    first = calls
    word = ""
    for (i = 1; i <= length(text); i++) {
        c = substr(text, i, 1)
        if (inQuote == "'") { if (c == "'") inQuote = ""; continue }
        if (inQuote == "\"") {
            if (c == "\\") i++
            else if (c == "\"") inQuote = ""
            else if (c == "$" && substr(text, i + 1, 1) == "(") { depth++; outer[depth] = inQuote; inQuote = ""; expecting = 1; i++; first = calls }
            continue
        }
        if (c == "\\") { if (i == length(text)) continued = 1; word = word substr(text, ++i, 1); continue }
        if (c == "#" && word == "") break
        if (c == "'") {
            # The text of "sh -c '...'" and "trap '...'" is a script, too.
            if (isScript) { isScript = 0; Word(word, ""); word = ""; expecting = 0; continue }
            if ((last2 == "sh" && last == "-c") || last == "trap") { isScript = 1; expecting = 1; last = ""; continue }
            inQuote = "'"; word = word "Q"; if (expecting) word = "$"; continue
        }
        if (c == "\"") { inQuote = "\""; if (expecting && word == "") word = "$"; continue }
        if (c == "$" && substr(text, i + 1, 1) == "(") { depth++; outer[depth] = ""; word = ""; expecting = 1; i++; first = calls; continue }
        if (c == "<" && match(substr(text, i), /^<<'?[A-Z]+'?/)) {
            here = substr(text, i + 2, RLENGTH - 2); gsub(/'/, "", here); i += RLENGTH - 1; continue
        }
        if (c == "(" && substr(text, i, 2) == "()") { Word(word, "()"); word = ""; i++; continue }
        if (c ~ /[ \t]/) { Word(word, ""); word = ""; continue }
        if (c ~ /[;|&(]/) {
            if (c == "&" && substr(text, i - 1, 1) == ">") continue
            Word(word, ""); word = ""; expecting = 1; wrapper = 0; continue
        }
        if (c == ")") {
            if (depth > 0) { Word(word, ""); inQuote = outer[depth--] }
            else calls = first  # the words were a pattern of a case
            word = ""; expecting = depth > 0 || inQuote == "" ? 1 : 0; last = ""; continue
        }
        word = word c
    }
    Word(word, "")
}
