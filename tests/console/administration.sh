#!/usr/bin/env bash
# Administrators, legacy settings, logging and printing at the command line: what is stored, what is refused,
# and the way back for an administrator whom the access list shuts out.
# administration.sh PROGRAM
set -u
here=$(dirname "$(readlink -f "$0")")
program=$(readlink -f "$1")
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export MARROWEN_HOME=$home/home

source "$here/expect.sh"

key='HKLM\Software\TesselWorks\SSHD'
page='Configuration Management'
expect 0 'access list of .*SSHD was replaced' press "$page" 'Add User' --fill 'User Name=Everyone' --press OK
expect 0 'allow +Everyone +all, and below' reg acl show "$key"
expect 0 'Nothing was stored' press "$page" 'Add User' --fill 'User Name=nobody at all' --press OK
expect 1 'no account "nobody at all"' --as 'nobody at all' tree
expect 0 'Banner' --as nobody show Banner

# With no row left nobody may open the key, but for who takes it back as its owner.
rows() { "$program" show "$page" | sed -n 's/^    \(.*\)  Read.*/\1/p'; }
while read -r name; do
  expect 0 'was replaced' press "$page" Delete --select "Configuration Administrators=$name" Yes
done < <(rows)
expect 0 'nobody may do anything' reg acl show "$key"
expect 1 '^marrowen: Nothing is stored for this page: the key .*SSHD can.t be opened: Access is denied.\n$' \
  --as nobody show 'General Settings::Compression'
expect 1 'Access is denied' --as nobody reg acl reset "$key"
expect 0 'owner  BUILTIN.Administrators\n.*allow  BUILTIN.Users  read, and below' --as Administrators reg acl reset "$key"
expect 0 'Enable Compression' --as nobody show 'General Settings::Compression'
expect 1 'not stored|not take|denied' --as nobody set 'General Settings::Compression' 'Enable Compression=on'
expect 2 'begins with none of' reg acl show 'X\y'

# Hives: out, into another computer, and what is no hive changes nothing.
expect 0 '' set 'General Settings::Compression' 'Enable Compression=on' Level=7
expect 0 'saved in ".*/old.tcfg" and ".*/old_sftp.tcfg"' export --legacy "$home/old"
[ "$(stat -c %a "$home/old.tcfg")" = 600 ] || fail 'a hive holds secrets and is open to others'
hivexsh "$home/old.tcfg" <<<'ls' | grep -q '^Users$' || fail 'the hive has no key Users'
expect 0 '' computer add srv1
expect 0 'would do this: .* stored' --computer srv1 import --legacy "$home/old.tcfg" --dry-run
expect 0 'Enable Compression +check box +off' --computer srv1 show 'General Settings::Compression'
expect 0 'stored' --computer srv1 import --legacy "$home/old.tcfg"
expect 0 'Level +edit +7' --computer srv1 show 'General Settings::Compression'
expect 0 'Nothing was stored' --computer srv1 import --legacy "$home/old.tcfg"
expect 0 '' user add ann
"$program" export "$home/before.xml" --credentials no >"$home/log" 2>&1 || fail 'no export'
head -c 5000 "$home/old.tcfg" >"$home/short.tcfg"
echo '<registry/>' >"$home/text.reg"
: >"$home/empty.tcfg"
for file in short.tcfg text.reg empty.tcfg; do
  expect 1 '^(Nothing was stored.\n)?marrowen: Unable to Import settings. [^\n]+\n$' import --legacy "$home/$file"
done
expect 1 'no file' import --legacy "$home/nothing.tcfg"
expect 1 'Unable to Export settings' export --legacy "$home/no/folder.tcfg"
expect 0 '' diff "$home/before.xml"
expect 0 'Users::ann' tree

# The page of logging refuses for the whole sheet and says why.
expect 1 '"Logging" can.t be applied: Please enter a valid directory for log files' set Logging 'Log input from client=on'
expect 3 'Write access will be given to all Users' set Logging "Log File Directory=$home/logs"
expect 0 '' set Logging "Log File Directory=$home/logs" --answer Yes
[ -d "$home/logs" ] || fail 'no folder for logs'
printf 'node Logging\nset Log output from server=on\nnode Banner\nset Prompt=x\napply\n' >"$home/script"
expect 1 '"Logging" can.t be applied' run "$home/script"
expect 0 'Prompt +edit *\n' show Banner

expect 0 'stored' set 'Print Monitor' 'Enable Printer Monitoring=on' "Directory for Spooled Jobs=$home" --answer Yes
expect 0 '1 key stored' press 'Print Monitor' Add --fill Number=1 --press OK Yes
expect 0 'LPT1:' show 'Print Monitor'
expect 0 'RemPrint|52 65 6D 50 72 69 6E 74' reg query 'HKLM\SYSTEM\CurrentControlSet\Control\Print\Monitors\Local Port' Driver

mkdir "$home/reports"
expect 0 'Report saved in .*/ConnectionReport[0-9]+.htm' report --format html "$home/reports"
grep -q '<br/>Mira  10.0.1.8 1/1/2012<br/>' "$home"/reports/*.htm || fail 'the report has not its rows'
expect 1 "can't be written in the folder" report "$home/nowhere"
expect 0 'InetD|sshd64.exe' show About

[ "$failures" -eq 0 ] || exit 1
echo 'administration: all as expected'
