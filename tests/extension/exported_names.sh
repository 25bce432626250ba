#!/usr/bin/env bash
# The library exports its eight functions and nothing else.
# exported_names.sh LIBRARY (.so or .dll)
set -euo pipefail
wanted='ClearKeySecurity ClosePropExt GetKeySecurity GetPropPage InitPropExt RemoveFileTransferUsers RemoveUsers SetKeySecurity'
case $1 in
  *.dll) names=$(x86_64-w64-mingw32-objdump -p "$1" | sed -n '/Name Pointer\] Table/,/^$/s/^.*\[ *[0-9]*\] \([A-Za-z_]*\)$/\1/p') ;;
  *) names=$(nm -D --defined-only "$1" | awk '{print $NF}') ;;
esac
found=$(sort <<<"$names" | tr '\n' ' ')
[ "$found" = "$wanted " ] || { echo "FAILED: $1 exports $found"; exit 1; }
