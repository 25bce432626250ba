#!/usr/bin/env bash
# What commands tell of the store: what was stored of each edit and how, what was not and why, what else changed.
# what_is_stored.sh PROGRAM
set -u
here=$(dirname "$(readlink -f "$0")")
program=$(readlink -f "$1")
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export MARROWEN_HOME=$home/store
server='HKLM\Software\TesselWorks\SSHD'

source "$here/expect.sh"

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
expect 1 'Home Directory=D:\\HOME: not stored: .*"D:\\Home"' set Users::joe 'Home Directory=D:\HOME'
stored '\Users\joe' HomeDir 'D:\Home'
expect 0 'Home Directory=D:\\HOME: stored\nUser Session Limit=on: stored\n' \
  set Users::joe 'Home Directory=D:\HOME' 'User Session Limit=on'
algorithms=$("$program" --json show 'General Settings::Cipher' | grep -oP '"text": "\K[^"]+')
mapfile -t off < <(sed 's/$/=off/' <<<"$algorithms")
expect 0 'blowfish=off: stored\n' set 'General Settings::Cipher' blowfish=off
expect 0 'aes256-ctr=off: stored as CiphersUsed=, shown as on\n' set 'General Settings::Cipher' "${off[@]}"
stored '' CiphersUsed ''
expect 0 'Allow SSH1 protocol=on: stored as AllowSSH1Protocol=no, shown as off\nFIPS Mode=on: stored\n' \
  set 'General Settings' 'Allow SSH1 protocol=on' 'FIPS Mode=on'
expect 0 'FIPS Mode=off: stored\n' set 'General Settings' 'FIPS Mode=off'

# What the page takes for no difference is told, and the rest of the command counts.
printf '<?xml version="1.0" encoding="UTF-8"?>\r\n<registry>\r\n<product name="Tessel Marrowen SSH Server"/>\r\n' >"$home/odd.xml"
printf '<k name="HKEY_LOCAL_MACHINE"><k name="SOFTWARE"><k name="TesselWorks"><k name="SSHD">' >>"$home/odd.xml"
printf '<v name="SessionLimit" value="20000"/><v name="CiphersUsed" value="AES128-CTR"/>' >>"$home/odd.xml"
printf '<v name="SplashBanner" value="%05000d"/></k></k></k></k></registry>' 0 >>"$home/odd.xml"
expect 0 'imported' import "$home/odd.xml"
expect 1 'Maximum Connections=10000: not stored: the page takes it for no difference .*SessionLimit="20000"' \
  set 'General Settings' 'Maximum Connections=10000'
expect 1 'aes128-ctr=on: not stored: .*CiphersUsed="AES128-CTR"' set 'General Settings::Cipher' aes128-ctr=on
expect 0 'Prompt=x: stored\nSplashBanner held 5000 bytes, which the page can.t show; it is empty now\.\n' set Banner Prompt=x
expect 0 '"after": "y",\n.*"typeAfter": "REG_SZ"\n.*\n.*\n.*\n\}' --json set Banner Prompt=y
expect 1 '"result": "not stored"' --json set Users::joe 'Home Directory=d:\home'

# A refusal ends the command with nothing applied.
expect 1 'takes digits only' set Users::joe minutes=7 hours=x
stored '\Users\joe' IdleSessionTimeOut 5400

# Buttons, and each "apply" of a script, tell what they have stored; a script what it has left.
expect 0 '^53 values and 3 keys stored\.\n$' press Users 'New User' --fill 'User Name=kim' --press OK
expect 0 '^53 values and 3 keys removed\.\n$' press Users 'Delete User' --select Users=kim --press Yes
script 0 '^Banner: Prompt=q: stored\nAuthentication: Password=off: stored\n2 values stored\.\nNothing was stored\.\n$' \
  $'node Banner\nset Prompt=q\nnode Authentication\nset Password=off\napply\napply'
script 1 'without an "apply" for what it edited of "Authentication" and "Banner"\.' \
  $'node Authentication\nset Password=on\nnode Banner\nset Prompt=z\nnode Users'
stored '' ConsentPrompt q
script 0 '^General Settings::Cipher\n' $'node General Settings::Cipher\nshow'

# One page lets edits wait on others.
expect 0 '' set 'General Settings' 'Allow SSH1 protocol=off'
script 0 'This changes "General Settings::Cipher" and "General Settings::MAC" too\.' \
  $'node General Settings::Cipher\nnode General Settings::MAC\nnode General Settings\nset Allow SSH1 protocol=on\napply'

# Edits of a user whom others have deleted meanwhile are told of, and the rest is stored.
mkfifo "$home/lines"
"$program" run - <"$home/lines" >"$home/told" 2>&1 &
running=$!
exec 3>"$home/lines"
printf 'node Users::joe\nset Home Directory=first\napply\n' >&3
until "$program" reg query "$server\\Users\\joe" HomeDir | grep -q '66 69 72 73 74'; do sleep 0.05; done
expect 0 '' user delete joe
printf 'set Home Directory=second\nnode Banner\nset Prompt=last\napply\n' >&3
exec 3>&-
wait "$running" && fail 'a script whose page could not open its key was done'
grep -qP 'Line 7: "Home Directory=second" of "Users::joe" not stored: its page is no longer there\.' "$home/told" ||
  fail "a user who is gone: $(cat "$home/told")"
stored '' ConsentPrompt last

# Commands side by side lose nothing.
together() { local running=() id; for id in $(jobs -rp); do running+=("$id"); done; for id in "${running[@]}"; do wait "$id" || fail "one of $1 failed"; done; }
for i in 0 1 2 3 4 5 6 7 8 9; do "$program" user add "user$i" >/dev/null & done
together 'ten users'
expect 0 'user0\nuser1\nuser2\nuser3\nuser4\nuser5\nuser6\nuser7\nuser8\nuser9\n' user list
"$program" --json show 'Access Control' | grep -oP '"name": "\K[^"]+' >"$home/boxes"
while read -r box; do "$program" set 'Access Control' "$box=off" >/dev/null & done <"$home/boxes"
together 'the settings of a page'
"$program" show 'Access Control' | grep -q ' on$' && fail 'a setting was lost'

# A home that can only be read is read by whoever may not write it; for this, root is another person.
chmod -R a-w,a+rX "$home"
reader=()
[ -w "$home/store" ] && reader=(setpriv --reuid 65534 --regid 65534 --clear-groups)
for words in tree 'show Users::user1' 'find HomeDir' 'user list'; do
  "${reader[@]}" "$program" $words 2>&1 | grep -q 'Users::user1\|^user1$' || fail "a home that can only be read: $words"
done
told=$("${reader[@]}" "$program" set Banner Prompt=no 2>&1) && fail 'a home that can only be read was written'
grep -q '"Banner" can.t be stored: the key .*Access is denied\. Nothing was stored\.' <<<"$told" || fail "a write that failed: $told"
chmod -R u+w "$home"

[ "$failures" -eq 0 ] && echo "what is stored: all as expected"
exit "$failures"
