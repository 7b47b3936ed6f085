#!/bin/bash
# Writes the list of what the library exports, or compares it.
#
#   scripts/update-exports.sh [LIBRARY]          writes tests/abi/exports.txt
#   scripts/update-exports.sh --check [LIBRARY]  shows the differences and fails when there are any
#
# LIBRARY is build/release/lib/libreinokeitro.so where none is given.
set -euo pipefail
export LC_ALL=C

root=$(cd "$(dirname "$0")/.." && pwd)
list=$root/tests/abi/exports.txt

check=
if [ "${1:-}" = --check ]; then
    check=yes
    shift
fi
library=${1:-$root/build/release/lib/libreinokeitro.so}

exports=$(nm --dynamic --defined-only "$library" | sed -E 's/^[0-9a-f]* . //' | c++filt | sort -u)

# The entity itself, not the types of its arguments.
private=$(sed -E 's/^(non-virtual thunk to|vtable for|typeinfo for|typeinfo name for) //; s/\(.*//' \
    <<<"$exports" | grep -E '(^| )std::|^__gnu_cxx::|detail::|\(anonymous' || true)
if [ -n "$private" ]; then
    echo "The library exports what is not its own or not public:" >&2
    echo "$private" >&2
    exit 1
fi

if [ -z "$check" ]; then
    echo "$exports" >"$list"
elif ! diff -u "$list" - <<<"$exports" >&2; then
    echo "If this is meant, run scripts/update-exports.sh and say so in CHANGELOG.md." >&2
    exit 1
fi
