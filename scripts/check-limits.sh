#!/bin/bash
# Checks what no compiler does: the length of files and functions, the direction of includes, and
# that the sources speak of themselves and of no machine or paper beside them.
set -euo pipefail
cd "$(dirname "$0")/.."

max_file=600
max_function=60
folders=(Src tools tests fuzz bench examples)

failed=
complain() {
    echo "$*" >&2
    failed=yes
}

check_files() {
    local file lines
    while read -r file; do
        lines=$(wc -l <"$file")
        [ "$lines" -le $max_file ] || complain "$file: $lines lines, at most $max_file"
    done < <(find "${folders[@]}" -name '*.cpp' -o -name '*.h')
}

# The layout makes functions easy to see: they begin in the first column and end at a "}" there.
check_functions() {
    local long
    long=$(find "${folders[@]}" -name '*.cpp' -print0 | xargs -0 awk -v most=$max_function '
        FNR == 1 { begin = 0 }
        /^[A-Za-z].*[^;]$/ && !/^(namespace|class|struct|enum|union|extern|constexpr [^(]*=|const [^(]*=)/ {
            if (!begin) { begin = FNR; head = $0 }
        }
        /;$/ && !/^[ \t]/ { begin = 0 }
        /^}/ {
            if (begin && FNR - begin + 1 > most)
                print FILENAME ":" begin ": " FNR - begin + 1 " lines, at most " most ": " head
            begin = 0
        }')
    [ -z "$long" ] || complain "$long"
}

# may_not FOLDER PATTERN REASON
may_not() {
    local found
    found=$(grep -rnP --include='*.h' --include='*.cpp' "$2" "$1" || true)
    [ -z "$found" ] || complain "$found"$'\n'"$1: $3"
}

check_includes() {
    may_not Src/Hascommon '#include [<"](Hasnet|Hasutil)/' "the foundation knows nothing above it"
    may_not Src/Hasnet '#include [<"]Hasutil/' "the two upper folders do not know each other"
    may_not Src/Hasutil '#include [<"]Hasnet/' "the two upper folders do not know each other"
    may_not tools '#include [<"]Has[a-z]+/(.*/)?detail/' "the tool uses public headers only"
    may_not examples '#include [<"]Has[a-z]+/(.*/)?detail/' "examples use public headers only"
}

# The tool's folders, each of which may use those before it.
tool_folders=(base net formats media info check play origin simulate report ui demo commands)

check_tool_folders() {
    local folder format known=()
    for folder in "${tool_folders[@]}"; do
        known+=("$folder")
        may_not "tools/hastool/$folder" \
            "#include <hastool/(?!($(IFS='|' && echo "${known[*]}"))/)" \
            "$folder may use ${known[*]}"
        may_not "tools/hastool/$folder" '#include "[^"]*/' "another folder is named from hastool/"
    done
    for format in hls dash smooth; do
        may_not "tools/hastool/formats/$format" "#include <hastool/formats/(?!$format/)[a-z]+/" \
            "one folder knows one format"
    done
    folder=$(find tools/hastool -mindepth 1 -maxdepth 1 -type d -printf '%f\n' |
        grep -vxF "$(printf '%s\n' "${tool_folders[@]}")" || true)
    [ -z "$folder" ] || complain "tools/hastool/$folder: a folder that has no place in the order"
}

check_words() {
    local found
    # What explains the code stands in it; places on one machine help nobody else.
    found=$(grep -rniE 's[p]ecification|\b(the|our) s[p]ec\b|\bP[a]rt [0-9]+\.[0-9]|as s[p]ecified|s[t]ep [0-9]+ of|\bTO[D]O\b|\bFIX[M]E\b|/w[o]rk/|/tmp/b[a]sh_jobs' \
        Src tools tests fuzz/*.* bench examples scripts cmake docs ./*.md ./*.txt ./*.json \
        2>/dev/null || true)
    [ -z "$found" ] || complain "$found"$'\n'"say it in the code's own words"
}

check_files
check_functions
check_includes
check_tool_folders
check_words
[ -z "$failed" ] || exit 1
