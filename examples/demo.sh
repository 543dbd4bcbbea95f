#!/bin/sh
# Shows the whole way of an access list: from a text file through the library into a simulated card, and back.
#
#   examples/demo.sh BIN-DIRECTORY      where nprm-simcard and nprmctl are
set -eu

programs=$(cd "${1:?usage: demo.sh BIN-DIRECTORY}" && pwd)
cd "$(dirname "$0")"
list=edge-acl.txt

# Shared memory has fixed keys: a card that runs on this machine already is left in peace by an IPC namespace of the demo's own.
if [ -z "${NPRM_DEMO_ALONE:-}" ]; then
    NPRM_DEMO_ALONE=yes
    export NPRM_DEMO_ALONE
    for isolate in "unshare --ipc" "unshare --user --map-current-user --ipc"; do
        # shellcheck disable=SC2086
        if $isolate true 2>/dev/null; then exec $isolate "$PWD/demo.sh" "$programs"; fi
    done
fi

RUV_DIR=$(mktemp -d)
export RUV_DIR
card=
clean_up() {
    [ -z "$card" ] || kill "$card" 2>/dev/null || true
    rm -rf "$RUV_DIR"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

run() {
    printf '\n\033[1m$ %s\033[0m\n' "$*" | if [ -t 1 ]; then cat; else sed 's/\x1b\[[0-9]*m//g'; fi
    program=$1
    shift
    "$programs/$program" "$@"
}

printf '\n$ nprm-simcard &\n'
"$programs/nprm-simcard" --remove-segments &
card=$!
tries=0
until "$programs/nprmctl" status >/dev/null 2>&1; do
    tries=$((tries + 1))
    [ $tries -lt 100 ] || { echo "demo: the card does not come up" >&2; exit 1; }
    kill -0 "$card" 2>/dev/null || { echo "demo: the card ended" >&2; exit 1; }
    sleep 0.05
done

run nprmctl status
run nprmctl tcam load new $list
run nprmctl tcam compare 0 $list
run nprmctl tcam show 0 --from 20 --count 6
run nprmctl tcam lookup 0 tcp 192.31.7.9 eq 40000 192.0.2.32 eq 443 --rules $list
run nprmctl tcam lookup 0 tcp 192.31.7.9 eq 40000 192.0.2.20 eq 25 --rules $list
run nprmctl tcam lookup 0 udp 10.1.2.3 eq 5353 192.0.2.10 eq 53 --rules $list
run nprmctl tcam space
run nprmctl tcam delete 0
run nprmctl tcam space

printf '\n$ kill -TERM %s    (the card)\n' "$card"
kill "$card"
wait "$card"
card=
printf '\nThe card stopped cleanly. Start your own with nprm-simcard, then talk to it with nprmctl help.\n'
