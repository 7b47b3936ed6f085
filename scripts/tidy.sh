#!/bin/bash
# Runs clang-tidy over the library and the tool, or over the files given. Needs a configured debug
# build (cmake --preset debug).
set -euo pipefail
cd "$(dirname "$0")/.."

[ -e build/debug/compile_commands.json ] || cmake --preset debug >/dev/null
if [ $# -eq 0 ]; then
    mapfile -t sources < <(find Src tools -name '*.cpp' | sort)
    set -- "${sources[@]}"
fi
printf '%s\0' "$@" | xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p build/debug
