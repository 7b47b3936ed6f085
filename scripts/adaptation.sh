#!/bin/bash
# Runs all rules over public traces, and writes the table of docs/adaptation.md.
#
#   scripts/adaptation.sh [FOLDER:MOVIE...]
#
# Each folder of traces is a set, played with a movie. Without any, those beside the checkout are
# taken, in ../shared/data (or SAMPLES). HASTOOL is build/release/bin/hastool unless it is set,
# RULES are the rules. The first, third ... trace of a set are the half that constants may be tuned
# on, the others the half that they are not. The report is build/adaptation.html.
set -euo pipefail
export LC_ALL=C

root=$(cd "$(dirname "$0")/.." && pwd)
page=$root/docs/adaptation.md
tool=${HASTOOL:-$root/build/release/bin/hastool}
rules=${RULES:-hybrid,adaptive,throughput,bola,bola-e,dynamic}
samples=${SAMPLES:-$root/../shared/data}/traces/sabre

if [ $# -eq 0 ]; then
    set -- "$samples/3Glogs:$samples/bbb.json" "$samples/4Glogs:$samples/bbb4k.json" \
        "$samples/sd_fs:$samples/bbb.json" "$samples/hd_fs:$samples/bbb4k.json"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

number=0
for study in "$@"; do
    number=$((number + 1))
    for half in 1 2; do
        "$tool" simulate --trace "${study%%:*}" --movie "${study#*:}" --rule "$rules" \
            --shard $half/2 --json >"$work/half$half-$number.jsonl"
    done
done

# means NAME FILE...: lines of set, rule and the figures that the table has, by tabs.
means() {
    local name=$1
    shift
    "$tool" simulate --merge "$@" | awk -F '  +' -v OFS='\t' '
        /:$/ { set = $0; sub(/(, .*)?:$/, "", set) }
        /^rule / { for (i = 1; i <= NF; ++i) place[$i] = i; next }
        NF > 3 {
            print set, $1, $place["score"], $place["kbit/s"], $place["stall %"], $place["switches"],
                $place["change"], $place["wasted %"]
        }' >"$work/$name"
}
means tuned "$work"/half1-*.jsonl
means other "$work"/half2-*.jsonl
means all "$work"/half?-*.jsonl

table() {
    echo "| set | rule | score, tuned half | other half | all | kbit/s | stall % | switches | change | wasted % |"
    echo "|---|---|---|---|---|---|---|---|---|---|"
    paste "$work/tuned" "$work/other" "$work/all" | awk -F '\t' '
        $1 != $9 || $1 != $17 || $2 != $10 || $2 != $18 { print "the halves differ" >"/dev/stderr"; exit 1 }
        {
            printf "| %s | %s | %s | %s | %s |", $1, $2, $3, $11, $19
            for (i = 20; i <= 24; ++i) printf " %s |", $i
            print ""
        }'
}

mkdir -p "$root/build"
"$tool" simulate --merge "$work"/half?-*.jsonl --report "$root/build/adaptation.html"
table >"$work/table"
awk -v table="$work/table" '
    /<!-- results begin -->/ {
        print
        print ""
        while ((getline line <table) > 0) print line
        print ""
        inside = 1
    }
    /<!-- results end -->/ { inside = 0 }
    !inside' "$page" >"$work/page"
cat "$work/page" >"$page"
