#!/bin/sh
# Installs a build and looks at it as a host does: its headers, its programs, and a host in C that nprm.pc tells how to build.
#   installed.sh SOURCE_DIR BUILD_DIR CC [FLAG...]
set -eu
export LC_ALL=C
source_dir=$1 build_dir=$2
shift 2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
tree=$scratch/tree
fail() { printf '%s\n' "$*" >&2; exit 1; }

cmake --install "$build_dir" --prefix "$tree" >"$scratch/log" 2>&1 || fail "the installation failed: $(cat "$scratch/log")"

public_headers() {
    (cd "$1" && find api util platform simcard -name 'nprm*.h' -o -name 'ad_*.h' -o -name ruv.h -o -name ny_syslog.h | sort)
}
all_headers() { (cd "$1" && find . -type f | sed 's|^\./||' | sort); }
expected=$(public_headers "$source_dir")
installed=$(all_headers "$tree/include/nprm")
[ "$installed" = "$expected" ] || fail "installed are
$installed
and the public headers are
$expected"

for file in bin/nprmctl bin/nprm-simcard bin/ad_logd share/man/man1/nprmctl.1 share/man/man1/nprm-simcard.1 share/man/man8/ad_logd.8 \
    share/bash-completion/completions/nprmctl; do
    [ -s "$tree/$file" ] || fail "$file is not installed"
done
"$tree/bin/nprmctl" --version >/dev/null || fail "the installed nprmctl does not run"

# The file is read as pkg-config reads it: assignments first, then fields.
pc=$(find "$tree" -name nprm.pc)
# shellcheck disable=SC2034
pcfiledir=$(dirname "$pc")
eval "$(sed -n '/^[a-z]*=/p' "$pc")"
field() { eval "printf '%s' \"$(sed -n "s/^$1: //p" "$pc")\""; }

cat >"$scratch/host.c" <<'C'
#include "nprm.h"
#include "ad_debug.h"
#include "api/config/nprm_tcam.h"
#include "util/nprm_hash.h"
#include "simcard/nprm_simcard.h"
#include <string.h>
int main(void) { return strcmp(nprm_error_str[NPRM_ERROR_NOT_READY], "NPRM_ERROR_NOT_READY") == 0 && ad_debug_inited() == 0 ? 0 : 1; }
C
# shellcheck disable=SC2046,SC2154
"$@" -std=c11 "$scratch/host.c" $(field Cflags) -o "$scratch/host" $(field Libs) -Wl,-rpath,"$libdir" || fail "a host cannot be built"
"$scratch/host" || fail "a host does not run"
# shellcheck disable=SC2046
"$@" -std=c11 "$scratch/host.c" $(field Cflags) -o "$scratch/static_host" "$libdir/libnprm.a" -L"$libdir" $(field 'Libs.private') \
    -Wl,-rpath,"$libdir" || fail "a host cannot be built with the static library"
"$scratch/static_host" || fail "a host with the static library does not run"
