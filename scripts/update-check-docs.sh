#!/bin/bash
# Writes docs/check.md from the rules of `hastool check`, or compares it.
#
#   scripts/update-check-docs.sh [HASTOOL]          writes docs/check.md
#   scripts/update-check-docs.sh --check [HASTOOL]  shows the differences and fails when there are any
#
# HASTOOL is build/release/bin/hastool where none is given.
set -euo pipefail
export LC_ALL=C

root=$(cd "$(dirname "$0")/.." && pwd)
page=$root/docs/check.md

check=
if [ "${1:-}" = --check ]; then
    check=yes
    shift
fi
tool=${1:-$root/build/release/bin/hastool}

if [ -z "$check" ]; then
    "$tool" check --list-rules >"$page"
else
    diff -u "$page" <("$tool" check --list-rules) || {
        echo "docs/check.md is not what the rules say; run scripts/update-check-docs.sh" >&2
        exit 1
    }
fi
