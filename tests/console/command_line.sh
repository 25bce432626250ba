#!/usr/bin/env bash
# The command line as a person uses it: what is printed, what is stored, how it exits.
# command_line.sh PROGRAM
set -u
program=$(readlink -f "$1")
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export MARROWEN_HOME=$home/store
failures=0

# expect STATUS PATTERN ARGS...: runs the program; its exit status must be STATUS and its output match PATTERN.
expect() {
  local status=$1 pattern=$2 output code
  shift 2
  output=$("$program" "$@" 2>&1 </dev/null)
  code=$?
  if [ "$code" -ne "$status" ] || ! grep -qE -- "$pattern" <<<"$output"; then
    printf 'FAILED: marrowen %s\n  status %s, wanted %s; wanted output like: %s\n%s\n' "$*" "$code" "$status" "$pattern" "$output"
    failures=$((failures + 1))
  fi
}

page="General Settings::Compression"
server='HKEY_LOCAL_MACHINE\Software\TesselWorks\SSHD'

expect 0 '^General Settings::Compression$' tree
expect 0 '' set "$page" "Enable Compression=on" "Level=7"
expect 0 'Level +edit +7' show "$page"
expect 0 'CompressionLevel  REG_SZ  37$' reg query "$server"
expect 0 'AllowCompression  REG_SZ  79 65 73$' reg query 'HKLM\Software\TesselWorks\SSHD' allowcompression
expect 0 '"value": "7"' --json show "$page"

# A dry run tells what waits and what Apply would do, whatever the command, and the next look finds nothing of it.
expect 0 'Level: 7 -> 3' set "$page" Level=3 --dry-run
expect 0 '^A dry run; Apply would do this: 1 value stored\.$' set "$page" Level=3 --dry-run
expect 0 'Nothing would be stored' set "$page" Level=7 --dry-run
expect 0 'Users: \+joe' press --dry-run Users "New User" --fill "User Name=joe" --press OK
expect 0 '"now": "3"' --json set "$page" Level=3 --dry-run
expect 0 'Available MAC: \+hmac-sha2-256, \+hmac-sha2-512, \+hmac-sha1, \+hmac-sha1-96, \+hmac-md5-96$' set --dry-run 'General Settings::MAC' hmac-md5=off
expect 0 'Level +edit +7' show "$page"
expect 0 '^Default$' user list
expect 1 'no page' show Users::joe

# Help is that of the page, whoever it is a page of.
expect 0 'Default: ' show --help "$page"
expect 0 '' user add ann
expect 0 'hours' show --help Users::ann
expect 0 '' user delete ann
expect 1 'no page "Nowhere"' show --help Nowhere

# Captions hold colons, quotation marks and equals signs; other pages go by the first page's boxes.
expect 0 '' set "General Settings" 'Monitor Sessions (Turn on "Interact with Desktop" for the InetD Service)=on'
expect 0 '' set "Authentication::Password Options" "Store Passwords:=Never"
expect 0 'OnlyCacheCredForCert  REG_SZ  6E 6F$' reg query "$server"
expect 1 'has "Never", "Only when autoloading keys" or "Always"' set "Authentication::Password Options" "Store Passwords=x"
expect 0 '' set "Banner" $'Splash Banner=a=b\nc'
expect 0 'SplashBanner  REG_SZ  61 3D 62 0D 0A 63$' reg query "$server"
expect 0 '^    \[x\] 3des$' show "General Settings::Cipher"
expect 0 '' set "General Settings" "FIPS Mode=on"
expect 1 'There is no setting "3des" here' set "General Settings::Cipher" "3des=on"

# Every setting can be found by its caption, its stored name or the row of a list; what no one sees can't.
expect 0 '^General Settings: Allow SSH1 protocol = off  \[AllowSSH1Protocol\]$' find ssh1
expect 0 '^Banner: Splash Banner = a=b c  \[SplashBanner\]$' find SplashBanner
expect 0 '^General Settings::Cipher: aes128-ctr = on  \[CiphersUsed\]$' find AES128-CTR
expect 1 'holds "Protocols Allowed"' find "Protocols Allowed"
expect 0 '^Access Control$' show --all

# A page that takes an edit in silence has it stored; one that does not keep what was entered is told of.
expect 0 '' set "General Settings" "Maximum Connections=1000"
expect 0 'became 10000, not 10001' set "General Settings" "Maximum Connections=10001"
expect 0 'SessionLimit  REG_SZ  31 30 30 30 30$' reg query "$server"
expect 0 '' set "Authentication" "Number of authentication attempts=5"

# A configuration starts as a copy and is edited beside the computer's own settings.
expect 0 '' config add branch7
expect 0 '^"Level" became 9, not 12\.$' --config-server set "branch7::$page" "Level=12"
expect 0 'CompressionLevel  REG_SZ  39$' reg query 'HKLM\Software\TesselWorks\ConfigServer\branch7\SSHD'
expect 0 'CompressionLevel  REG_SZ  37$' reg query "$server"
expect 1 'There is a configuration "BRANCH7" already' config add BRANCH7
expect 1 'neither ":" nor' config add 'a:b'
expect 0 '' config remove branch7
expect 1 'There is no configuration "branch7"' --config-server show "branch7::$page"

# Another computer has settings of its own.
expect 0 '' computer add srv1
expect 0 'Enable Compression +check box +off' --computer srv1 show "$page"
expect 1 'computer "nowhere" can.t be reached: ' --computer nowhere show "$page"
# Whichever way it is asked; and nobody is asked about credentials that are not there.
expect 0 '' --computer srv1 set "$page" "Enable Compression=on" "Level=2"
expect 0 '^Settings saved in ' --computer srv1 press "Configuration Management" "Export Settings" --path "$home/srv1.xml"
grep -q 'CompressionLevel" value="2"' "$home/srv1.xml" || { echo "FAILED: the file is not of srv1"; failures=$((failures + 1)); }

# A page whose key is not there says so.
expect 0 "Nothing is stored for this page: the key .*DefaultDefault can.t be opened: The system cannot find" show "Users::Default::Forwarding Control"
expect 1 'DefaultDefault can.t be opened.*Nothing was stored' set "Users::Default::Forwarding Control" "Denied Access=on"

for name in ../x . "$(printf 'a%.0s' {1..300})"; do expect 1 'is no name for a computer' computer add "$name"; done
expect 0 '^srv1$' computer list

# What can't be done says why, names what is near, and changes nothing.
before=$("$program" reg query "$server")
expect 1 'did you mean "General Settings::Compression"' show "General Setings::Compresion"
expect 1 'did you mean "Level"\?' set "$page" "Levle=3"
expect 1 '"Level" takes digits only, not "3a"' set "$page" "Level=3" "Level=3a"
expect 1 'takes on or off, not "maybe"' set "$page" "Enable Compression=maybe"
expect 2 'not of the form CAPTION=VALUE' set "$page" "Level"
expect 2 '' frobnicate
expect 2 'none of HKEY_LOCAL_MACHINE' reg query 'HKEY_NOWHERE\x'
[ "$before" = "$("$program" reg query "$server")" ] || { echo "FAILED: a refused command changed the store"; failures=$((failures + 1)); }

# A script stops at its first bad line, and what was not applied is not stored.
printf 'node %s\nset Level=3\napply\nset Level=4\nset Nothing=1\napply\n' "$page" >"$home/script"
expect 1 'Line 5: There is no setting "Nothing"' run "$home/script"
expect 0 'CompressionLevel  REG_SZ  33$' reg query "$server"

# The home is private whatever the umask, and a damaged or unwritable one is left as it is.
(umask 0; MARROWEN_HOME=$home/open "$program" tree >/dev/null)
[ "$(stat -c %a "$home/open")" = 700 ] || { echo "FAILED: the home is not private"; failures=$((failures + 1)); }
[ -z "$(find "$home/open" -type f -perm /077)" ] || { echo "FAILED: files of the home are not private"; failures=$((failures + 1)); }
touch "$home/file"
expect 1 '.' --home "$home/file" tree
expect 1 '.' --home /proc/nowhere tree
store=$(find "$home/open" -name data.mdb)
truncate -s 5000 "$store"
sum=$(md5sum <"$store")
expect 1 '.' --home "$home/open" tree
[ "$sum" = "$(md5sum <"$store")" ] || { echo "FAILED: a damaged store was changed"; failures=$((failures + 1)); }

[ "$failures" -eq 0 ] && echo "command line: all as expected"
exit "$failures"
