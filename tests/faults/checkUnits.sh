#!/bin/bash
# checkUnits.sh PACKAGING PROGRAMS: the service units of PACKAGING are sound, for programs in PROGRAMS, allow no device
# but their own two, and systemd rates their exposure 1.0 of 10 at most. So are they with the drop-in of the manual page.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The bus's socket need not be installed where this runs.
printf '[Socket]\nListenStream=/run/dbus/system_bus_socket\n' >"$work/dbus.socket"
printf '[Service]\nExecStart=/bin/true\n' >"$work/dbus.service"
export SYSTEMD_UNIT_PATH=$work:

fail()
{
    echo "$*" >&2
    exit 1
}

# sound UNIT: a faulty line is only warned of.
sound()
{
    local said
    said=$(systemd-analyze verify --man=no "$work/$1" 2>&1) && [[ -z $said ]] || fail "$1: $said"
}

devices='DeviceAllow=/dev/%I rw
DeviceAllow=/dev/ttyS6 rw'
for unit in "$1"/systemd/*.service.in; do
    name=$(basename "$unit" .in)
    sed "s|@CMAKE_INSTALL_FULL_BINDIR@|$2|; s|@CMAKE_INSTALL_FULL_SYSCONFDIR@|/etc|" "$unit" >"$work/$name"
    sound "$name"
    systemd-analyze security --offline=true --threshold=10 --no-pager "$work/$name"
    for line in NoNewPrivileges=yes DevicePolicy=closed ProtectSystem=strict PrivateTmp=yes User=receiver \
        StateDirectory=receiver Restart=on-failure; do
        grep -qx "$line" "$work/$name" || fail "$name: no $line"
    done
    allowed=$(grep -i '^ *DeviceAllow' "$work/$name") || fail "$name: no device is allowed"
    [[ $allowed == "$devices" ]] || fail "$name: allows other devices: $allowed"

    mkdir "$work/$name.d"
    sed -n 's/\\-/-/g; /^\[Unit\]/,/^\.fi/{/^\.fi/!p}' "$1/man/externalComd.8" >"$work/$name.d/later.conf"
    grep -qx 'DeviceAllow=char-ttyUSB rw' "$work/$name.d/later.conf" || fail "externalComd.8: no drop-in for a late port"
    sound "$name"
done
grep -q '^# *ReadWritePaths=' "$1/default/receiver-console" || fail "default/receiver-console: no word on other directories"
