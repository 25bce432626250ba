#!/usr/bin/env bash
# Texts of a computer whose code page is 1252: people say and read UTF-8, and the server reads its bytes.
# code_page.sh PROGRAM: on an embedded computer; of the program for Windows on the machine itself, which Wine runs.
set -uo pipefail
source "$(dirname "$0")/expect.sh"
program=$(readlink -f "$1")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
server='HKLM\Software\TesselWorks\SSHD'
users="$server\\Users"

if [[ $program == *.exe ]]; then
  exe=$program
  console() { wine "$exe" "$@" 2>&1 | tr -d '\r'; }
  wine reg delete 'HKLM\Software\TesselWorks' /f >/dev/null 2>&1
  wine reg add "$users" /f >/dev/null 2>&1
  # The system decides it when it starts.
  acp=$(wine reg query 'HKLM\System\CurrentControlSet\Control\Nls\CodePage' /v ACP | tr -d '\r' | awk '/ACP/ { print $3 }')
  [ "$acp" = 1252 ] || fail "the code page of this Windows is $acp, not 1252"
  program=console
  of=()
else
  export MARROWEN_HOME=$folder/home
  expect 1 'No computer can have the code page 37: ' computer add west --code-page 37
  expect 0 '^\n?$' computer list
  expect 0 '' computer add west --code-page 1252
  of=(--computer west)
fi

expect 0 '' "${of[@]}" user add Jürgen
expect 0 '\nJürgen\n' "${of[@]}" user list
expect 0 '"Jürgen"' "${of[@]}" --json user list
expect 0 '\nUsers::Jürgen\n' "${of[@]}" tree
expect 0 '^Prompt=Größe €: stored\n' "${of[@]}" set Banner 'Prompt=Größe €'
expect 0 'Prompt +edit +Größe €\n' "${of[@]}" show Banner
expect 0 'ConsentPrompt +REG_SZ +47 72 F6 DF 65 20 80( 00)?\n' "${of[@]}" reg query "$server" ConsentPrompt
expect 0 '\\Users\\Jürgen\n' "${of[@]}" reg query "$users"

printf 'page Users::Jürgen\nset Home Directory=C:\\Jürgen\napply\n' >Größe.txt
expect 0 'Home Directory=C:\\Jürgen: stored' "${of[@]}" run Größe.txt
expect 0 'REG_SZ +43 3A 5C 4A FC 72 67 65 6E( 00)?\n' "${of[@]}" reg query "$users\\Jürgen" HomeDir

# What the code page lacks is refused, and nothing of the command counts.
lacks='has characters that the computer.s code page 1252 lacks: "\?" stands for them\.\n$'
expect 2 "^marrowen: The text \"\\?ukasz\" $lacks" "${of[@]}" user add Łukasz
expect 2 "^marrowen: The text \"Prompt=\\?ód\\?\" $lacks" "${of[@]}" set Banner 'Press Key=on' Prompt=Łódź
printf 'page Banner\nset Prompt=kept\nset Prompt=Łódź\napply\n' >script.txt
expect 2 "^marrowen: Line 3: The text \"set Prompt=\\?ód\\?\" $lacks" "${of[@]}" run script.txt
expect 0 'Prompt +edit +Größe €\n' "${of[@]}" show Banner
expect 0 '^Default\nJürgen\n$' "${of[@]}" user list

# A settings file is UTF-8, and says the same to a computer of another code page.
expect 0 'Settings saved in .*Größe\.xml\.\n' "${of[@]}" export Größe.xml
grep -q $'value="Gr\xc3\xb6\xc3\x9fe \xe2\x82\xac"' Größe.xml || fail 'the settings file has another prompt'
grep -q $'C:\\\\J\xc3\xbcrgen"' Größe.xml || fail 'the settings file has another folder'
expect 0 '' "${of[@]}" user delete Jürgen
expect 0 'imported\.\n' "${of[@]}" import Größe.xml
expect 0 '^Default\nJürgen\n$' "${of[@]}" user list
expect 0 '^0 differences|the same\n$' "${of[@]}" diff Größe.xml

[ "$failures" -eq 0 ] && echo 'code page: all as expected'
