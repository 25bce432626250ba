#!/usr/bin/env bash
# What commands tell of the store: what was stored of each edit and how, what was not and why, what else changed.
# what_is_stored.sh PROGRAM
set -u
program=$(readlink -f "$1")
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export MARROWEN_HOME=$home/store
failures=0
server='HKLM\Software\TesselWorks\SSHD'

fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

# expect STATUS PATTERN ARGS...: runs the program; its exit status must be STATUS and its output match PATTERN.
expect() {
  local status=$1 pattern=$2 output code
  shift 2
  output=$("$program" "$@" 2>&1 <<<"${input-}")
  code=$?
  if [ "$code" -ne "$status" ] || ! grep -qzP -- "$pattern" <<<"$output"; then
    fail "marrowen $*"
    printf '  status %s, wanted %s; wanted output like: %s\n%s\n' "$code" "$status" "$pattern" "$output"
  fi
}

# script STATUS PATTERN LINES: the same for the lines of a script.
script() { input=$3 expect "$1" "$2" run -; }

# stored KEY NAME TEXT: what the store holds under the server's key.
stored() {
  local bytes
  bytes=$(printf '%s' "$3" | od -An -v -tx1 | tr -d '\n' | tr a-f A-F)
  "$program" reg query "$server$1" "$2" 2>&1 | grep -qF "REG_SZ $bytes" || fail "$1 $2 is not $3"
}

# What a person typed, what is stored and what is shown are three things.
expect 0 '' user add joe
expect 0 'hours=0: stored as IdleSessionTimeOut=5400, shown as 1\nminutes=90: stored as IdleSessionTimeOut=5400, shown as 30\n' \
  set Users::joe 'Idle Session Timeout=on' hours=0 minutes=90
stored '\Users\joe' IdleSessionTimeOut 5400
expect 0 '^minutes=30: nothing to store\n$' set Users::joe minutes=30
expect 0 'attempts=5: stored\n' set Authentication 'Number of authentication attempts=5'
expect 0 'attempts=: stored as AuthAttemptLimit=, shown as 5\n' set Authentication 'Number of authentication attempts='
stored '' AuthAttemptLimit ''
expect 0 '^Home Directory=D:\\Home: stored\n$' set Users::joe 'Home Directory=D:\Home'
expect 1 'Home Directory=D:\\HOME: not stored: .*"D:\\Home".*\nIBM|not stored' set Users::joe 'Home Directory=D:\HOME'
stored '\Users\joe' HomeDir 'D:\Home'
expect 0 'Home Directory=D:\\HOME: stored\nUser Session Limit=on: stored\n' \
  set Users::joe 'Home Directory=D:\HOME' 'User Session Limit=on'
algorithms=$("$program" --json show 'General Settings::Cipher' | grep -oP '"text": "\K[^"]+')
mapfile -t off < <(sed 's/$/=off/' <<<"$algorithms")
expect 0 'aes256-ctr=off: stored as CiphersUsed=, shown as on\n' set 'General Settings::Cipher' "${off[@]}"
stored '' CiphersUsed ''
expect 0 'Allow SSH1 protocol=on: stored as AllowSSH1Protocol=no, shown as off\nFIPS Mode=on: stored\n' \
  set 'General Settings' 'FIPS Mode=off' 'Allow SSH1 protocol=on' 'FIPS Mode=on'

[ "$failures" -eq 0 ] && echo "what is stored: all as expected"
exit "$failures"
