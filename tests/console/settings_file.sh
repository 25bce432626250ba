#!/usr/bin/env bash
# Settings files at the command line: out, back, compared, and what is refused.
# settings_file.sh PROGRAM
set -u
here=$(dirname "$(readlink -f "$0")")
program=$(readlink -f "$1")
tree=$(readlink -f "$(dirname "$0")/../..")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export MARROWEN_HOME=$folder/home COMPUTERNAME=BUILDER7
cd "$folder" || exit 1

source "$here/expect.sh"

page="General Settings::Compression"
server='HKEY_LOCAL_MACHINE\Software\TesselWorks\SSHD'
head='<?xml version="1.0" encoding="UTF-8"?>\r\n<registry>\r\n<product name="Tessel Marrowen SSH Server"/>\r\n'
chain='<k name="HKEY_LOCAL_MACHINE"><k name="SOFTWARE"><k name="TesselWorks"><k name="SSHD">'

# The defaults are what the pages themselves give, and restoring them shows so.
python3 "$tree/tools/make_default_settings.py" "$program" >defaults.xml
cmp defaults.xml "$tree/platform/embedded/default_settings.xml" ||
  fail "the kept defaults are not those of the pages; tools/make_default_settings.py makes them"
# Restoring also gives the key its default access list, which is no setting.
shown() { "$program" show --all | grep -v '^    .*  Read'; }
shown >fresh.txt
expect 0 'System restored to default settings' restore-defaults
shown | cmp - fresh.txt || fail "the defaults show something else than a fresh computer"

# Out, compared, back; also on another computer, whose own name and folder come in.
expect 0 '' set "$page" "Enable Compression=on" "Level=7"
expect 0 '' set Banner 'Splash Banner=This is BUILDER7.'
(umask 0; touch a.xml; "$program" export a.xml >/dev/null) || fail "export"
[ "$(stat -c %a a.xml)" = 600 ] || fail "the file is not private"
grep -q 'name="SplashBanner" value="This is $(ComputerName)."' a.xml || fail "the computer's name stands in the file"
expect 0 '^\d+ the same\n$' diff a.xml
expect 0 '' set "$page" "Level=3"
expect 0 'changed  HKEY_LOCAL_MACHINE\\SOFTWARE\\TesselWorks\\SSHD  CompressionLevel: 3 -> 7\n\d+ the same\n$' import --dry-run a.xml
expect 1 'CompressionLevel: 7 -> 3' diff a.xml
expect 0 '"before": "3",\s+"typeBefore": "REG_SZ",\s+"after": "7"' --json import --dry-run a.xml
expect 0 'Level +edit +3' show "$page"
expect 0 '^Settings from .*/a.xml imported.\n$' import a.xml
expect 0 'Level +edit +7' show "$page"
expect 0 '' computer add srv1
expect 0 '' --computer srv1 import a.xml
expect 0 'Level +edit +7' --computer srv1 show "$page"
expect 0 'This is SRV1\.' --computer srv1 show Banner
expect 0 '' set "$page" "Level=2"
expect 0 '' --computer srv1 diff a.xml
expect 1 'CompressionLevel: 7 -> 2' --computer builder7 diff a.xml
expect 0 '' --computer srv1 export b.xml
# The page's own button, and whatever else acts on the local computer, act on the one that is named.
expect 0 '' --computer srv1 set Banner 'Consent Banner=there'
expect 0 'Settings saved' --computer SRV1 press 'Configuration Management' 'Export Settings' \
  --path pressed.xml --press No
grep -q 'name="ConsentBanner" value="there"' pressed.xml || fail "the button exports another computer's settings"
expect 0 '' --computer srv1 import b.xml
expect 0 '' diff a.xml b.xml
expect 1 '"status": 1,\s+"error": "",[^}]*"added": \[\],\s+"changed": \[\s+\{' --json diff a.xml

# New principals stand in the tree at once for whoever goes on.
printf "$head$chain"'<k name="Users"><k name="CORP?ann"/></k></k></k></k></k></registry>\r\n' >users.xml
expect 0 'added  [^\n]*\\Users\\CORP\?ann\n' import --dry-run users.xml
expect 1 'no page' show 'Users::CORP\ann'
printf 'node Configuration Management\nanswer Yes\npath %s/users.xml\npress Import Settings\nnode Users::CORP\\ann\nshow\napply\n' "$folder" >script
expect 0 'Home Directory' run script
expect 0 'Home Directory' show 'Users::CORP\ann'

# Credentials travel by permission, in both directions.
printf "$head$chain"'<k name="PAD"><k name="anna"><v name="(Default)" value="pass" type="REG_BINARY"/></k></k></k></k></k></k></registry>\r\n' >pad.xml
expect 0 'added  [^\n]*\\PAD\\anna  \(Default\): \(cached credential\)' import --dry-run pad.xml
expect 0 '' import pad.xml
expect 0 '1 the same' import --dry-run pad.xml
echo kept >c.xml
expect 1 "can.t be replaced: it is no settings file" export c.xml
expect 3 'Do you want to export cached authentication keys' export --force c.xml
[ "$(cat c.xml)" = kept ] || fail "an export that was not answered has written"
expect 0 '' export --force --credentials no c.xml
! grep -q '"PAD"' c.xml || fail "credentials were exported without permission"
expect 0 'the same' diff c.xml
expect 0 '' export --credentials yes c.xml
grep -q '<v name="(Default)" value="pass" type="REG_BINARY"/>' c.xml || fail "the credential is not in the file"
[ "$(stat -c %a c.xml)" = 600 ] || fail "a file with passwords is not private"
expect 0 '' diff c.xml
expect 0 '' --computer srv1 import c.xml
expect 0 '' --computer srv1 diff c.xml
[ -z "$(ls | grep partial)" ] || fail "something was left beside the files"

# What won't come back is told once, on standard error alone.
expect 0 '' set Banner 'Splash Banner=a>b'
"$program" export d.xml --credentials no 2>warned >/dev/null
[ "$(grep -c . warned)" = 1 ] && grep -q '^marrowen: Banner, Splash Banner (.*SSHD, "SplashBanner"): ' warned || fail "$(cat warned)"
expect 0 '"notes": \[\s+"[^\n]*SplashBanner' --json export d.xml --credentials no
! grep -q $'\r' warned || fail "progress was written into a pipe"

# What can't be done says why and changes nothing.
before=$("$program" reg query "$server")
printf "$head$chain"'\r\n<v name="CompressionLevel" value="9"/>\r\n<k <' >bad.xml
expect 1 'Parse error in line 6' import bad.xml
expect 1 'Parse error in line 6' import --dry-run bad.xml
expect 2 'Parse error in line 6' diff bad.xml
printf "$head$chain"'<v name="CompressionLevel" value="9"/><v name="n" value="1" type="REG_DWORD"/>' >short.xml
expect 1 '.' import short.xml
sed 's/Tessel Marrowen/Other/' a.xml >other.xml
expect 1 'File is not for Tessel Marrowen SSH Server' import other.xml
expect 2 'is not for Tessel Marrowen SSH Server' diff other.xml
head -c 100000 /dev/urandom >random.bin
expect 1 '.' import random.bin
expect 1 'No such file' import nothing.xml
expect 2 'No such file' diff nothing.xml
expect 1 'is a folder' import .
expect 1 "can't be written: The system cannot find the path" export nowhere/x.xml
expect 2 'named configuration' --config-server export x.xml
for command in 'export x.xml' 'import a.xml' 'diff a.xml' restore-defaults; do
  expect 1 'computer "nowhere" can.t be reached' --computer nowhere $command
done
[ "$before" = "$("$program" reg query "$server")" ] || fail "a refused command changed the store"
rm "$folder/home/local/drives/c/TesselWorks/SSHD/Shared Files/marrowen_default_settings.xml"
expect 1 'does not exist in the default location' restore-defaults

# What only reads leaves nothing behind, although a page that is shown may make keys.
printf "$head$chain"'<k name="Users"><k name="bare"/></k></k></k></k></k></registry>' >bare.xml
expect 0 '' import bare.xml
"$program" show --all >/dev/null
expect 0 'Users::bare::Environment' tree
expect 0 '' find HomeDir
expect 0 'Users\\bare\n$' reg query "$server\\Users\\bare"

[ "$failures" -eq 0 ] && echo "settings file: all as expected"
exit "$failures"
