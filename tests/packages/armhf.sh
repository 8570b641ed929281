#!/bin/bash
# armhf.sh PACKAGES ARMHF_PACKAGES SYSROOT: the packages for 32-bit ARM hold what those for this machine do, ask for the
# same packages, and their console answers under qemu.
set -euo pipefail

native=$1
armhf=$2
sysroot=$3
work=$(mktemp -d)
started=()
finish()
{
    [[ ${#started[@]} -eq 0 ]] || kill "${started[@]}" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT

fail()
{
    echo "armhf: $*" >&2
    exit 1
}

waitFor()
{
    local what=$1 i
    shift
    for ((i = 0; i < 1200; ++i)); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.05
    done
    fail "waited in vain for $what"
}

files()
{
    dpkg-deb -c "$1" | awk '{print $1, $6, $7, $8}'
}

# Names alone: libgcc-s1 is asked for by ARM programs that do without it elsewhere.
depends()
{
    dpkg-deb -f "$1" Depends | tr ',' '\n' | awk '{print $1}' | grep -vx libgcc-s1 | sort
}

for component in console tools bench; do
    one=$(echo "$native/receiver-${component}"_*.deb)
    other=$(echo "$armhf/receiver-${component}"_*_armhf.deb)
    diff <(files "$one") <(files "$other") || fail "receiver-$component holds other files"
    diff <(depends "$one") <(depends "$other") || fail "receiver-$component depends on other packages"
    [[ $(dpkg-deb -f "$other" Architecture) == armhf ]] || fail "receiver-$component is of another architecture"
    dpkg-deb -x "$other" "$work/image"
done
for program in externalComd platformctl receiver-bench; do
    readelf -h "$work/image/usr/bin/$program" | grep -q 'Machine: *ARM' || fail "$program is no ARM program"
    readelf -S "$work/image/usr/bin/$program" | grep -q '\.symtab' && fail "$program is not stripped"
    # Every library comes with a package that is asked for.
    for library in $(readelf -d "$work/image/usr/bin/$program" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p'); do
        [[ $library == ld-linux* || -n $(find -H "$sysroot" -name "$library" -print -quit) ]] || fail "no $library"
    done
done

emulated()
{
    local program=$1
    shift
    exec env PLATFORM="local:$work/stores" DBUS_SESSION_BUS_ADDRESS="unix:path=$work/bus" LOG_LEVELS= \
        qemu-arm-static -L "$sysroot" -0 "$program" "$work/image/usr/bin/$program" "$@"
}

dbus-daemon --session --nofork --address="unix:path=$work/bus" >"$work/bus.log" 2>&1 &
started+=($!)
waitFor "the bus" test -S "$work/bus"
coproc line { exec socat - "PTY,link=$work/line,rawer"; }
started+=("$line_PID")
waitFor "the serial line" test -e "$work/line"
(emulated externalComd "$work/line") >"$work/console.log" 2>&1 &
started+=($!)
waitFor "the console" busctl --address="unix:path=$work/bus" status receiver.lpc.lpcExampledNoUse
printf 'Blink on\rNonsense\r' >&"${line[1]}"
for expected in "Blink on" "Command FAILED: (Nonsense)"; do
    read -r -t 60 -u "${line[0]}" reply || fail "no reply"
    [[ ${reply%$'\r'} == "$expected" ]] || fail "expected '$expected', got '$reply'"
done
stored=$(emulated platformctl config get control.ledMode) || true
[[ $stored == true ]] || fail "the setting is '$stored'"
