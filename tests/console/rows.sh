#!/usr/bin/env bash
# Rows of tables at the command line: what is added, changed and removed, and what is refused.
# rows.sh PROGRAM
set -u
here=$(dirname "$(readlink -f "$0")")
program=$(readlink -f "$1")
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export MARROWEN_HOME=$home

source "$here/expect.sh"

# rows NODE ROWS: the rows that the page shows, as text.
rows() {
  local shown
  shown=$("$program" show "$1" | grep '^    ' | sed 's/^    //' | sort)
  [ "$shown" = "$2" ] || { printf 'FAILED: rows of %s\n%s\nwanted\n%s\n' "$1" "$shown" "$2"; failures=$((failures + 1)); }
}

variables='Users::Default::Environment Variables'
expect 0 '' row add "$variables" Variable=PATH 'Value=C:\a=1,C:\b' 'Location if exist=Beginning'
expect 0 'PATH  REG_SZ  43 3A 5C 61 3D 31 2C 43 3A 5C 62 2C 42 65 67' reg query 'HKLM\Software\TesselWorks\SSHD\Users\Default\Environment'
expect 0 '' row add "$variables" Variable=LANG Value=de
expect 0 '' row add "$variables" Variable=TEMP 'Value=D:\t' 'Location if exist=Replace'
expect 0 '' row set "$variables" Variable=lang Value=fr
rows "$variables" $'LANG  fr  End\nPATH  C:\\a=1,C:\\b  Beginning\nTEMP  D:\\t  Replace'
expect 0 '' row set "$variables" Variable=TEMP Variable=TMP
rows "$variables" $'LANG  fr  End\nPATH  C:\\a=1,C:\\b  Beginning\nTMP  D:\\t  Replace'
# Wherever a row stands, one command takes it out.
for name in TMP PATH LANG; do
  expect 0 '' row add "$variables" Variable=last Value=1
  expect 0 '' row remove "$variables" "Variable=$name"
done
rows "$variables" 'last  1  End'

strings='Users::Default::Graceful Termination'
expect 0 '' row add "$strings" 'Executable Name=edit.exe' 'Termination String=^C'
expect 0 '' row add "$strings" 'Executable Name=view.exe' 'Termination String=q'
expect 0 '' row set "$strings" 'Executable Name=edit.exe' 'Termination String=^D'
expect 0 '' row remove "$strings" 'Executable=view.exe'
rows "$strings" 'edit.exe  ^D'

# The key of these exceptions bears the name twice, and no page makes it.
exceptions='Users::Default::Forwarding Control'
expect 1 'DefaultDefault' row add "$exceptions" 'Remote server name=a' Port=22
expect 0 '' user add DefaultDefault
expect 0 '' row add "$exceptions" 'Remote server name=a' Port=22
expect 0 '' row add "$exceptions" 'Remote server name=a' Port=23
expect 0 '' row add "$exceptions" 'Remote server name=b' Port=22
expect 0 '' row set "$exceptions" Server=a Port=22 Port=2222
expect 1 '2 entries with Server=a: say more' row remove "$exceptions" Server=a
expect 0 '' row remove "$exceptions" 'Port forwarding excluded from default access' 'Remote server name=b'
rows "$exceptions" $'Denied  a  2222\nDenied  a  23'

# What a page does not take or keep is told, and changes nothing.
before=$("$program" reg query 'HKLM\Software\TesselWorks\SSHD\Users\Default\Environment')
expect 1 'keeps no entry with Variable=last, Value=2. "row set" changes one' row add "$variables" Variable=last Value=2
expect 1 'keeps no entry with Value=2' row add "$variables" Value=2
expect 1 'has no entry with Variable=nosuch' row set "$variables" Variable=nosuch Value=2
expect 1 'neither a column nor a field "Colour"' row remove "$variables" Colour=red
expect 1 'no setting "Colour"' row add "$variables" Variable=x Colour=red
expect 1 'no table "Colours"' row add "$variables" Colours Variable=x
expect 1 'has no table' row add 'Users::Default::Keyboard' Variable=x
expect 1 'There is no page' row add 'Users::nobody::Environment Variables' Variable=x
expect 2 'needs FIELD=VALUE' row remove "$variables" 'Environment Variables for User Session'
expect 2 'fields that change' row set "$variables" Variable=last
expect 2 'form FIELD=VALUE' row remove "$variables" Variable=last more
[ "$before" = "$("$program" reg query 'HKLM\Software\TesselWorks\SSHD\Users\Default\Environment')" ] || { echo "FAILED: a refused command changed the store"; failures=$((failures + 1)); }

[ "$failures" -eq 0 ] && echo "rows: all as expected"
exit "$failures"
