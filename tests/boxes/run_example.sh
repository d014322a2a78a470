#!/usr/bin/env bash
# Runs a patch twice in virtual time, each time in an empty folder: run_example.sh VOKRA
# FOLDER PATCH FILES. It must end by itself without a word of warning, write so many files,
# each a picture of more than one colour, and the same bytes and words both times.
set -euo pipefail
vokra=$1 folder=$2 patch=$3 files=$4
fail() { echo "$(basename "$patch"): $*" >&2; exit 1; }

for run in first second; do
    rm -rf "${folder:?}/$run"
    mkdir -p "$folder/$run"
    (cd "$folder/$run" && "$vokra" run "$patch" --clock virtual --for 60s >said 2>&1) ||
        fail "exit status $?: $(cat "$folder/$run/said")"
done
diff -r "$folder/first" "$folder/second" || fail "two runs differ"
cd "$folder/first"
! grep -iE 'error|warning' said || fail "it complains"
written=$(find . -path './out/*' | wc -l)
[ "$written" = "$files" ] || fail "$files files were to be written, found $written"
[ "$files" != 0 ] || [ -s said ] || fail "it neither writes nor says anything"
# the first, the middle and the last: some plane has more than one value
for picture in $(find . -path './out/*' | sort | sed -n "1p;$((files / 2 + 1))p;\$p"); do
    "$vokra" info --json "$picture" | tr -d ' \n' | grep -oE '"min":[0-9.]+,"max":[0-9.]+' |
        awk -F'[:,]' '$2 != $4 { found = 1 } END { exit !found }' || fail "$picture is empty"
done
