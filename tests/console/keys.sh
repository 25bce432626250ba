#!/usr/bin/env bash
# Host keys, authorized keys and certificates at the command line, with ssh-keygen and openssl as judges.
# keys.sh PROGRAM
set -u
here=$(dirname "$(readlink -f "$0")")
program=$(readlink -f "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit
export MARROWEN_HOME=$work/home

source "$here/expect.sh"
fingerprint() { ssh-keygen -lf "$1" | cut -d' ' -f2; }

page='General Settings::Host Key'
expect 0 'stored' press "$page" 'Generate#2' --fill "Filename=$work/host" --fill 'Comment=of the server' --press Generate
expect 0 "Fingerprint:#2 +edit +\Q$(fingerprint host.pub)\E MD5:" show "$page"
expect 3 'Generate Key' press "$page" 'Generate'
expect 0 'Unable to generate key' press "$page" 'Generate#2' --fill "Filename=$work/no/key" --press Generate
[ "$(stat -c %a host)" = 600 ] || { echo 'FAILED: a private key is open to others'; failures=$((failures + 1)); }

openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=anna -keyout k.pem -out c.pem \
  -addext keyUsage=digitalSignature,keyEncipherment -addext extendedKeyUsage=serverAuth,1.2.3 2>/dev/null
openssl pkcs12 -export -in c.pem -inkey k.pem -passout pass:secret -out new.p12
openssl pkcs12 -export -legacy -in c.pem -inkey k.pem -passout pass:secret -out old.p12
echo secret >password
thumbprint=$(openssl x509 -in c.pem -noout -fingerprint -sha1 | sed 's/.*=//' | tr A-F a-f)
for file in c.pem new.p12 old.p12; do
  expect 0 "$thumbprint  anna  by anna" certificate add "$file" --password-file password
  "$program" certificate add "$file" --password-file password 2>&1 | grep -c 'private key in .* was left out' >>left_out
  expect 0 'Issued to: +anna[\s\S]*For: +server authentication, 1\.2\.3\nKey usage: +digital signature, key encipherment\n' \
    certificate show "$thumbprint"
  expect 0 '' press "$page" 'Browse#4' --certificate "${thumbprint//:/}"
  expect 0 'X.509 certificate: +edit +anna' show "$page"
  expect 0 'Removed' certificate remove "${thumbprint:0:11}"
done
[ "$(xargs <left_out)" = '0 1 1' ] || { echo 'FAILED: what is said of private keys'; failures=$((failures + 1)); }
cat c.pem k.pem >both.pem
expect 0 'private key in "both.pem" was left out' certificate add both.pem --store trusted
expect 1 'holds no certificate' certificate add new.p12
expect 1 'holds no certificate' certificate add password
expect 1 'There is no certificate with' press "$page" 'Browse#4' --certificate 00
expect 0 '' press 'Authentication::X.509 Certificate Options' 'Edit Trusted Certificates' --press Add --path "$work/c.pem" --press OK
expect 0 'anna' certificate list --store trusted
expect 0 '2 values stored' press 'Authentication::X.509 Certificate Options' 'Edit EKUs' --fill EKUs=1.3.6.1.5.5.7.3.2 --press OK

ssh-keygen -q -N '' -t ed25519 -C 'ann@box' -f ann
ssh-keygen -q -N '' -t ecdsa -C '' -f bert
{ echo '# ann'; cat ann.pub; echo '# CORP?bert'; printf 'no-pty,from="a b" '; cat bert.pub; } >keys
expect 0 '2 keys added' key import keys
expect 1 'no user' key import ann.pub
expect 0 '1 key added' key import ann.pub --user carl
expect 0 "ann  \Q$(fingerprint ann.pub)\E MD5:[\s\S]*CORP.bert  \Q$(fingerprint bert.pub)\E" key list
expect 0 '3 keys written' key export out
[ "$(ssh-keygen -lf out | cut -d' ' -f2 | sort -u | wc -l)" = 2 ] || { echo 'FAILED: the exported keys are not read'; failures=$((failures + 1)); }
expect 1 'More than one' key remove SHA256:
expect 0 'removed' key remove "$(fingerprint ann.pub)" --user carl
expect 1 'no line of a public key' key add 'garbage' --user x
expect 0 'CORP.bert' key list --user 'CORP\bert'
expect 1 "can't be read" key import nothing

[ "$failures" -eq 0 ] || exit 1
echo 'keys: all as expected'
