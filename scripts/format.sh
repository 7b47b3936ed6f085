#!/bin/bash
# Lays all sources out by .clang-format; with --check only says which are not.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(-i)
[ "${1:-}" != --check ] || mode=(--dry-run --Werror)
find Src tools tests fuzz bench examples \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format "${mode[@]}"
