#!/usr/bin/env bash
# The console on Windows' own registry: what it stores is read back with the system's own tool.
# wine_scenario.sh PROGRAM NATIVE: NATIVE is the same console on an embedded computer.
set -euo pipefail
program=$1
native=$(readlink -f "$2")
server='HKLM\Software\TesselWorks\SSHD'
page="General Settings::Compression"
for software in 'HKLM\Software' 'HKLM\Software\Wow6432Node'; do
  wine reg delete "$software\\TesselWorks" /f >/dev/null 2>&1 || true
done
# A computer without the server.
for words in "import $0" restore-defaults; do
  { wine "$program" $words 2>&1 || true; } | grep -q 'has no settings of the server: .* is missing'
done
wine reg add "$server" /f >/dev/null

wine "$program" set "$page" "Enable Compression=on" "Level=12" | tr -d '\r' | grep -q '^"Level" became 9, not 12\.$'
wine "$program" show "$page" | tr -d '\r' | grep -qE 'Level +edit +9$'
stored=$(wine reg query "$server" | tr -d '\r')
grep -qE 'CompressionLevel +REG_SZ +9$' <<<"$stored"
grep -qE 'AllowCompression +REG_SZ +yes$' <<<"$stored"
wine "$program" set "$page" "Enable Compression=off"
wine reg query "$server" /v AllowCompression | tr -d '\r' | grep -qE 'REG_SZ +no$'

# What is only tried leaves all as it was.
before=$(wine reg query 'HKLM\Software\TesselWorks' /s)
wine "$program" set --dry-run "$page" "Enable Compression=on" "Level=4" | tr -d '\r' | grep -q 'Apply would do this: '
[ "$(wine reg query 'HKLM\Software\TesselWorks' /s)" = "$before" ]

# A settings file carries the settings away and brings them back.
program=$(readlink -f "$program")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
wine "$program" export all.xml | tr -d '\r' | grep -q '^Settings saved in .*all\.xml\.$'
wine "$program" set "$page" "Enable Compression=on" "Level=3"
wine "$program" import --dry-run all.xml | tr -d '\r' | grep -q '  CompressionLevel: 3 -> 9$'
wine "$program" import all.xml >/dev/null
wine "$program" diff all.xml >/dev/null
wine reg query "$server" /v CompressionLevel | tr -d '\r' | grep -qE 'REG_SZ +9$'

# A file of one platform says the same on the other: after its import nothing of it is missing there, and what
# comes out again differs in nothing that both have.
export MARROWEN_HOME=$folder/home
wine "$program" set Banner $'Splash Banner=a "b" <c & d\ne' >/dev/null
wine reg add "$server\\Users" /f >/dev/null
wine "$program" user add alice --domain CORP >/dev/null
before=$(wine reg query 'HKLM\Software\TesselWorks' /s)
wine "$program" press --dry-run Users "Delete User" --select 'Users=CORP\alice' --press Yes | tr -d '\r' | grep -q 'Users: -CORP.alice'
[ "$(wine reg query 'HKLM\Software\TesselWorks' /s)" = "$before" ]
wine "$program" export windows.xml >/dev/null
"$native" import windows.xml >/dev/null
"$native" export embedded.xml >/dev/null 2>&1
differences=$("$native" diff windows.xml embedded.xml) || true
if grep -qvE '^added |^[0-9]+ the same$' <<<"$differences"; then
  echo "A settings file of Windows came back changed:"
  echo "$differences"
  exit 1
fi
grep -E '<v ' windows.xml >values.txt
[ -s values.txt ]
! grep -vxFf <(grep -E '<v ' embedded.xml) values.txt

# Several who write at once lose nothing of each other's.
for i in 1 2 3 4 5 6 7 8; do wine "$program" user add "beside$i" >/dev/null & done
wait
[ "$(wine "$program" user list | grep -c '^beside')" = 8 ]

wine reg delete 'HKLM\Software\TesselWorks' /f >/dev/null
echo "wine scenario: all as expected"
