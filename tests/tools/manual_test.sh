#!/usr/bin/env bash
# The man page of a tool names the commands and options that the tool takes, and no others.
# Usage: manual_test.sh TOOL MAN-PAGE
set -euo pipefail
tool=$(basename "$1")

# What the tool takes: a line for each command, and for each option behind its command. What --help is behind a command
# the page says once for all.
taken=$("$1" --describe | awk -F '\t' -v tool="$tool" '
    $1 != tool { print $1 }
    $2 ~ /^--/ && ($1 == tool || $2 != "--help") { print $1, $2 }' | sort -u)

# The same from the page: the options of a command are those that its entry under COMMANDS names, and the tool'\''s own are
# those of the sections that tell of the tool. A command may stand in the synopsis alone.
named=$(sed 's/\\-/-/g; s/\\f[A-Z]//g' "$2" | awk -v tool="$tool" '
    function options_in(text, owner)
    {
        while (match(text, /--[a-z][a-z-]*/)) {
            option = substr(text, RSTART, RLENGTH)
            if (owner == tool || option != "--help")
                print owner, option
            text = substr(text, RSTART + RLENGTH)
        }
    }
    /^\.SH/ { section = $2; count = 0; next }
    /^\.TP/ { is_heading = 1; next }
    section == "SYNOPSIS" && $1 == ".B" && $2 == tool && NF > 2 { print $3 }
    section == "COMMANDS" && is_heading {
        count = 0
        heading = $0
        gsub(/"[^"]*"/, "", heading)
        size = split(heading, words)
        for (i = 2; i <= size; ++i)
            if (words[i] ~ /^[a-z][a-z-]*$/)
                owners[++count] = words[i]
        for (i = 1; i <= count; ++i)
            print owners[i]
    }
    { is_heading = 0 }
    section == "COMMANDS" { for (i = 1; i <= count; ++i) options_in($0, owners[i]) }
    section ~ /^(SYNOPSIS|DESCRIPTION|OPTIONS)$/ { options_in($0, tool) }' | sort -u)

[ -n "$taken" ] || { echo "FAILED: $tool does not tell what it takes" >&2; exit 1; }
diff --label "$tool" --label "$2" <(echo "$taken") <(echo "$named") >&2
