#!/bin/sh
# A library of the platform exports what its header declares and needs nothing but libc.
#   exports.sh READELF LIBRARY NAME...
set -eu
export LC_ALL=C
readelf=$1 library=$2
shift 2
expected=$(printf '%s\n' "$@" | sort)
exported=$("$readelf" --dyn-syms --wide "$library" | awk '($5 == "GLOBAL" || $5 == "WEAK") && $7 ~ /^[0-9]+$/ {print $8}' | sort)
needed=$("$readelf" --dynamic --wide "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
status=0
if [ "$exported" != "$expected" ]; then
    printf '%s exports\n%s\nand should export\n%s\n' "$library" "$exported" "$expected"
    status=1
fi
if [ "$needed" != libc.so.6 ]; then
    printf '%s needs\n%s\nand should need libc.so.6 alone\n' "$library" "$needed"
    status=1
fi
exit $status
