#!/bin/bash
# checkUnits.sh UNITS PROGRAMS: the service units of directory UNITS are sound, for programs in PROGRAMS, and systemd
# rates their exposure 2.0 of 10 at most.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The bus's socket need not be installed where this runs.
printf '[Socket]\nListenStream=/run/dbus/system_bus_socket\n' >"$work/dbus.socket"
printf '[Service]\nExecStart=/bin/true\n' >"$work/dbus.service"
export SYSTEMD_UNIT_PATH=$work:

for unit in "$1"/*.service.in; do
    name=$(basename "$unit" .in)
    sed "s|@CMAKE_INSTALL_FULL_BINDIR@|$2|; s|@CMAKE_INSTALL_FULL_SYSCONFDIR@|/etc|" "$unit" >"$work/$name"
    # A faulty line is only warned of.
    if ! said=$(systemd-analyze verify --man=no "$work/$name" 2>&1) || [[ -n $said ]]; then
        echo "$name: $said" >&2
        exit 1
    fi
    systemd-analyze security --offline=true --threshold=20 --no-pager "$work/$name"
    for line in NoNewPrivileges=yes DevicePolicy=closed ProtectSystem=strict PrivateTmp=yes User=receiver \
        StateDirectory=receiver Restart=on-failure; do
        grep -qx "$line" "$work/$name" || { echo "$name: no $line" >&2; exit 1; }
    done
done
