#!/usr/bin/env bash
# under_wine.sh TESTS.exe: runs the tests of the program, but those that wine_skips.txt names.
# under_wine.sh --not-skipped NAME FILE...: those of the files that wine_skips.txt does not name for NAME. It may
# name single tests of the browser's files, too, which skip them by themselves.
set -uo pipefail
skips=$(dirname "$(readlink -f "$0")")/wine_skips.txt

# What the list names behind NAME, one a line.
skipped() { sed -n "s/^$1 \([^:]*\): .*/\1/p" "$skips"; }

# hold_names WHAT NAMED THERE: each line of NAMED must be one of THERE.
hold_names() {
  local lost
  lost=$(grep -vxF -f <(printf '%s\n' "$3") <<<"$2")
  [ -z "$lost" ] || { echo "wine_skips.txt names what there is not of $1: $lost" >&2; exit 1; }
}

if [ "$1" = --not-skipped ]; then
  files=$(for file in "${@:3}"; do basename "$file" .sh; done)
  tests=$(sed -nE "s/^(test\(|  )'([^']*)'(, async|: \[).*/\2/p" "${@:3}" 2>/dev/null)
  hold_names "$2" "$(skipped "$2")" "$files"$'\n'"$tests"
  grep -vxF -f <(skipped "$2") <<<"$files"
  exit 0
fi

name=$(basename "$1" .exe)
# The listing has the suite on a line of its own.
tests=$(wine "$1" --gtest_list_tests 2>/dev/null | tr -d '\r' | awk '/^[^ ]/ { suite = $1 } /^ / { print suite $1 }')
named=$(skipped "$name")
[ -z "$named" ] || hold_names "$name" "$named" "$tests"
wine "$1" --gtest_brief=1 --gtest_filter="-$(tr '\n' : <<<"$named")"
