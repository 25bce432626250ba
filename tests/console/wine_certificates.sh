#!/usr/bin/env bash
# A certificate that Windows' own certificate store has laid down reads on an embedded computer, and the other way.
# wine_certificates.sh PROGRAM NATIVE: NATIVE is the same console on an embedded computer.
set -euo pipefail
program=$(readlink -f "$1")
native=$(readlink -f "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND"' ERR
cd "$work"
certificates='HKLM\Software\TesselWorks\SSHD\Certs\Certificates'
# Not a word from the system, and no carriage returns.
windows() { wine "$program" "$@" 2>windows.errors | tr -d '\r' || { cat windows.errors; exit 1; }; }
wine reg delete 'HKLM\Software\TesselWorks' /f >/dev/null 2>&1 || true
wine reg add 'HKLM\Software\TesselWorks\SSHD' /f >/dev/null

for name in anna bert; do
  openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/O=Example/CN=$name" \
    -addext keyUsage=digitalSignature,keyEncipherment -addext extendedKeyUsage=clientAuth -keyout $name.key -out $name.pem 2>/dev/null
done
thumbprint=$(openssl x509 -in anna.pem -noout -fingerprint -sha1 | sed 's/.*=//' | tr A-F a-f)
words='For: +client authentication\nKey usage: +digital signature, key encipherment\n'

# From Windows.
windows certificate add anna.pem --store trusted | grep -q "^$thumbprint  anna  by anna  until "
stored=$(wine reg query "$certificates" /s | tr -d '\r')
grep -qi "Certificates.${thumbprint//:/}$" <<<"$stored"
grep -qE 'Blob +REG_BINARY' <<<"$stored"
windows export windows.xml >/dev/null
MARROWEN_HOME=$work/first "$native" import windows.xml >/dev/null
of_windows=$(windows certificate list --store trusted)
[ "$(MARROWEN_HOME=$work/first "$native" certificate list --store trusted)" = "$of_windows" ]
MARROWEN_HOME=$work/first "$native" certificate show "$thumbprint" --store trusted | grep -qzP "$words"
windows certificate show "$thumbprint" --store trusted | grep -qzP "$words"

# To Windows: two, of which one has got a name there that stands among its properties.
export MARROWEN_HOME=$work/second
"$native" certificate add bert.pem --store trusted >/dev/null
"$native" export embedded.xml >/dev/null
encoded='20 00 00 00 01 00 00 00'
named='0b 00 00 00 01 00 00 00 0e 00 00 00 46 00 72 00 69 00 65 00 6e 00 64 00 00 00'
sed -i "/name=\"Blob\"/s/ $encoded/ $named $encoded/" embedded.xml
"$native" import embedded.xml >/dev/null
of_native=$("$native" certificate list --store trusted)
grep -q '  bert  by bert  until .*  "Friend"$' <<<"$of_native"
windows import embedded.xml >/dev/null
[ "$(windows certificate list --store trusted | sort)" = "$(sort <<<"$of_windows"$'\n'"$of_native")" ]
windows certificate remove "${thumbprint//:/}" --store trusted | grep -q '^Removed: '
[ "$(windows certificate list --store trusted)" = "$of_native" ]

# The key of a container is not kept, and that is said.
openssl pkcs12 -export -legacy -in anna.pem -inkey anna.key -passout pass:secret -out anna.p12
echo secret >password
wine "$program" certificate add anna.p12 --password-file password --store trusted 2>&1 | tr -d '\r' >added
grep -q "^$thumbprint  anna" added
grep -q 'The private key in "anna.p12" was left out' added

wine reg delete 'HKLM\Software\TesselWorks' /f >/dev/null
echo "wine certificates: all as expected"
