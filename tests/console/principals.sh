#!/usr/bin/env bash
# Users, groups and address ranges at the command line: what is listed, what the tree shows, how it exits.
# principals.sh PROGRAM
set -u
here=$(dirname "$(readlink -f "$0")")
program=$(readlink -f "$1")
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export MARROWEN_HOME=$home

source "$here/expect.sh"

expect 0 '' set "Users::Default" 'Home Directory=D:\home'
expect 0 '^\s*$' user copy Default 'CORP\alice'
expect 0 'Home Directory +edit +D:\\home' show 'Users::CORP\alice'
expect 0 '' press Users "Copy User" --select "Users=Default" --fill "User Name=bob" --press OK
expect 0 '(?m)^bob\nCORP\\alice\nDefault$' user list
expect 0 'HomeDir  REG_SZ  44 3A 5C' reg query 'HKLM\Software\TesselWorks\SSHD\Users\CORP?alice'
expect 0 'Users::bob\nUsers::bob::Console Settings' tree
expect 3 'Are you sure wish to DELETE bob' press Users "Delete User" --select Users=bob
expect 0 '' user delete bob
expect 1 'There is no page' show Users::bob

# What the page refuses ends the command, and a name that would be lost is refused.
expect 1 'Cannot add user. User CORP\?alice already exists.' user add alice --domain CORP
expect 2 '"NAME" can.t be empty' user add ''
expect 1 'cannot delete user Default' user delete DEFAULT
expect 1 'has no entry "nobody"' user copy nobody someone
expect 1 'can.t be used: ":"' user add 'a::b'
expect 1 'has 256 bytes' user add "$(printf 'x%.0s' {1..256})"
expect 0 '"CORP\\ALICE" and "CORP\\alice" are one user' user add ALICE --domain CORP
for name in ' blanks ' 'a,b' "$(printf 'y%.0s' {1..255})" 'grüße'; do
  expect 0 '^\s*$' user add "$name"
  expect 0 "(?m)^$name\$" user list
done
expect 0 '^\s*$' user add jörg
expect 0 '"JÖRG" and "jörg" are one user' user add JÖRG

expect 0 '^\s*$' range add 10.0.0.1 10.0.0.9
expect 0 'lies before' range add 10.0.0.9-10.0.0.1
expect 1 'Range 10.0.0.1-10.0.0.9 already exists.' range add 10.0.0.1-10.0.0.9
expect 1 'takes four numbers' range add 10.0.0.256
expect 0 '^\s*$' range copy 10.0.0.1-10.0.0.9 10.0.0.7
expect 0 '(?m)^10.0.0.1-10.0.0.9\n10.0.0.7-10.0.0.7\n10.0.0.9-10.0.0.1$' range list
expect 0 '^\s*$' range delete 10.0.0.9-10.0.0.1
expect 2 '"BEGIN" can.t be empty' range add ''
expect 0 '^\s*$' range add 0.0.0.0
expect 0 '(?m)^0.0.0.0-0.0.0.0$' range list

expect 0 'listed as "BUILTIN\\Users"' group add users
expect 0 '^\s*$' group add 'BUILTIN\Guests'
expect 1 'Cannot add group. Group BUILTIN\\Users already exists.' group add Users
expect 1 'known here as "BUILTIN\\Backup Operators"' group add 'CORP\Backup Operators'
expect 1 'The network path was not found' group add Users --query '\\nowhere'
expect 1 'There is no group "nosuch" to add' group add nosuch
expect 0 '^\s*$' group up 'BUILTIN\Guests'
expect 0 'Groups::BUILTIN\\Guests\n(Groups.*\n)*Groups::BUILTIN\\Users\n' tree
expect 0 '^\s*$' group down 'BUILTIN\Guests'
expect 0 '^BUILTIN\\Users\nBUILTIN\\Guests\n' group list

# The services of file transfer have lists and principals of their own, whose copies bring their settings.
expect 0 '^\s*$' sftp user add 'CORP\alice'
expect 0 '' set 'SFTP Users::CORP\alice' 'Use virtual directory assignments=on'
expect 0 '' press 'SFTP Users::CORP\alice' Add --fill 'Virtual Path=Data' --fill 'File Path=D:\x' --press OK
expect 1 '"Virtual Path" takes no "/" and no' press 'SFTP Users::CORP\alice' Add --fill 'Virtual Path=a/b'
expect 1 '"OK" is disabled' press 'SFTP Users::CORP\alice' Add --fill 'Virtual Path=a' --press OK
expect 0 '^\s*$' sftp user copy 'CORP\alice' bob
expect 0 'vRoots  REG_MULTI_SZ  44 61 74 61 2F 44 3A 5C 78 00 00' reg query 'HKLM\Software\TesselWorks\SFTP\Users\bob'
expect 0 'SFTP Users::CORP\\alice\nSFTP Users::CORP\\alice::Two Step Upload\nSFTP Users::Default\n' tree
expect 0 '^\s*$' scp user add carol
expect 0 '' set 'SCP Users::carol' 'Home Directory=D:\c'
expect 0 '^\s*$' scp user copy carol dave
expect 0 'Home Directory +edit +D:\\c' show 'SCP Users::dave'
expect 0 '^\s*$' scp user delete carol
expect 0 '(?m)^dave\nDefault$' scp user list
expect 0 'listed as "BUILTIN\\Guests"' sftp group add guests
expect 0 '(?m)^SFTP Groups::BUILTIN\\Guests::Two Step Upload$' tree
expect 0 '^\s*$' scp group list

# Nodes come and go while the console runs, also those of a configuration, which a list names without it.
expect 0 '' config add branch7
input=$'node branch7::Users\nanswer User Name=carol\nanswer OK\npress New User\nnode branch7::Users::carol
node branch7::Users\nset Users=carol\nanswer Yes\npress Delete User\nnode branch7::Users::carol'
expect 1 'Line 10: There is no page "branch7::Users::carol"' --config-server run -
unset input
expect 0 '^\s*$' --config-server user add dave --in branch7
expect 0 '(?m)^dave$' --config-server user list --in branch7

# The settings of a new user reach an export that saves changes first, though none of their pages was shown.
input=$'node Users\nanswer User Name=joe\nanswer OK\npress New User\nnode Configuration Management\nanswer Yes
answer No\npath '$home$'/saved.xml\npress Export Settings'
expect 0 'Settings saved' run -
expect 0 'HomeDir  REG_SZ  44 3A 5C' reg query 'HKLM\Software\TesselWorks\SSHD\Users\joe'
grep -A40 'k name="joe"' "$home/saved.xml" | grep -q 'HomeDir" value="D:' || { echo "FAILED: the file lacks joe's settings"; failures=$((failures + 1)); }

# The tree stands as the lists do, in the pages' order, and follows Apply and Cancel.
for name in b_z bay; do expect 0 '' user add "$name"; done
expect 0 '\nb_z\nbay\n' user list
expect 0 'Users::b_z\n(Users::b_z::.*\n)*Users::bay\n' tree
expect 0 '^General Settings\nGeneral Settings::Cipher\n(.*\n)*General Settings::MAC\nAuthentication\n(.*\n)*Authentication::Public Key Options\n(.*\n)*Banner\n' tree
input=$'node Users\nanswer User Name=Bb\nanswer OK\npress New User\nnode Users::Bb\ncancel\nnode Users::Bb'
expect 1 'Line 7: There is no page "Users::Bb"' run -
input=$'node Users\nset Users=bay\nanswer Yes\npress Delete User\ncancel\nnode Users::bay\nshow'
expect 0 'Users::bay\n  Default Screen Mode' run -
unset input

[ "$failures" -eq 0 ] && echo "principals: all as expected"
exit "$failures"
