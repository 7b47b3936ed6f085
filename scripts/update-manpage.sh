#!/bin/bash
# Writes the manual page from what the tool itself says of its commands, or compares it.
#
#   scripts/update-manpage.sh [HASTOOL]          writes docs/hastool.1
#   scripts/update-manpage.sh --check [HASTOOL]  shows the differences and fails when there are any
#
# HASTOOL is build/release/bin/hastool where none is given.
set -euo pipefail
export LC_ALL=C

root=$(cd "$(dirname "$0")/.." && pwd)
page=$root/docs/hastool.1

check=
if [ "${1:-}" = --check ]; then
    check=yes
    shift
fi
tool=${1:-$root/build/release/bin/hastool}

# A help text as sections of the page: options as tagged paragraphs, examples as they stand.
format() {
    awk '
    function text(line) {
        gsub(/\\/, "\\e", line)
        gsub(/-/, "\\-", line)
        if (line ~ /^[.\047]/) line = "\\&" line
        return line
    }
    # The explanation begins in column 31, on a line of its own behind a long option.
    function item(line,    tag, rest) {
        tag = line
        if (length(line) > 30 && substr(line, 30, 1) == " " && substr(line, 31, 1) != " ") {
            tag = substr(line, 1, 29)
            rest = substr(line, 31)
        }
        gsub(/^ +| +$/, "", tag)
        sub(/^-h,/, "-h, ", tag)
        print ".TP\n.B " text(tag)
        if (rest != "") print text(rest)
    }
    NR == 1 { title = $0; next }
    /^Usage: / {
        sub(/^Usage: /, "")
        if (command != "") print ".SS " text($0) "\n" text(title)
        next
    }
    /^Subcommands:/ { part = "commands"; next }
    /^(Options|Positionals):$/ { part = "items"; next }
    /^Examples:$/ { if (part == "examples") print ".fi"; print ".PP\nExamples:\n.nf"; part = "examples"; next }
    /^$/ { next }
    part == "commands" && /^  [a-z]/ { next }
    part == "items" && /^  [^ ]/ { item($0); next }
    part == "items" && /^          / { sub(/^ +/, ""); print text($0); next }
    part == "examples" { print text($0); next }
    command == "" && NR > 1 { footer = footer text($0) "\n" }
    END { if (part == "examples") print ".fi" }
    ' command="$1"
}

write() {
    local commands command
    commands=$("$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9]*\) .*/\1/p')
    cat <<'TOP'
.\" Written by scripts/update-manpage.sh from the tool's own help.
.TH HASTOOL 1 "" "reinokeitro" "User Commands"
.SH NAME
hastool \- headless adaptive-streaming player and media toolbox
.SH SYNOPSIS
.B hastool
.I COMMAND
[OPTIONS]
.SH DESCRIPTION
Downloads and plays adaptive HTTP streams (HLS, DASH, Smooth Streaming), shows how the engine adapts,
and looks into their media. It uses nothing but the public interface of the library reinokeitro.
.SH COMMANDS
TOP
    for command in $commands; do
        "$tool" "$command" --help | format "$command"
    done
    cat <<'END'
.SH EXIT STATUS
0 done, 1 failed, 2 wrong usage.
.SH ENVIRONMENT
.TP
.B HAS_LOG
Where the library's log goes: stderr, syslog, file:PATH, error (only errors, to stderr), off.
.TP
.B no_proxy, http_proxy, https_proxy
As libcurl takes them.
END
}

if [ -z "$check" ]; then
    write >"$page"
else
    diff -u "$page" <(write) || {
        echo "docs/hastool.1 is not what the tool says; run scripts/update-manpage.sh" >&2
        exit 1
    }
fi
