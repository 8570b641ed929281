#!/bin/bash
# cleanRoot.sh PACKAGES WORK: the Debian packages of directory PACKAGES install with apt into a system that has nothing
# but Debian's minimum, which is kept in WORK, and give a running console there. Needs root, network and debootstrap.
set -euo pipefail

packages=$(cd "$1" && pwd)
mkdir -p "$2"
work=$(cd "$2" && pwd)
base=$work/base
system=$work/system

# Mounts of this script are its own and end with it.
if [[ ${CLEAN_ROOT_UNSHARED-} != yes ]]; then
    CLEAN_ROOT_UNSHARED=yes exec unshare --mount --pid --fork --kill-child "$0" "$packages" "$work"
fi

fail()
{
    echo "cleanRoot: $*" >&2
    exit 1
}

# is WHAT EXPECTED FOUND
is()
{
    [[ $2 == "$3" ]] || fail "$1: expected '$2', found '$3'"
    echo "ok: $1"
}

within()
{
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive chroot "$system" "$@"
}

# as USER COMMAND...
as()
{
    local user=$1
    shift
    within setpriv --reuid "$user" --regid "$(within id -g "$user")" --init-groups "$@"
}

# quietly COMMAND...: shows what it said only when it fails.
quietly()
{
    "$@" >"$work/log" 2>&1 </dev/null || { cat "$work/log" >&2; fail "$*"; }
}

# until TEXT COMMAND...: waits until the command succeeds.
waitFor()
{
    local what=$1 i
    shift
    for ((i = 0; i < 600; ++i)); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.05
    done
    fail "waited in vain for $what"
}

# This machine's way to Debian.
mirror=$(apt-get indextargets --format '$(CODENAME) $(SITE)' 'Created-By: Packages' |
    sed -n 's/^bookworm //p' | head -n 1)
[[ -n $mirror ]] || fail "apt knows no bookworm"
if [[ ! -e $base/complete ]]; then
    rm -rf "$base"
    quietly debootstrap --variant=minbase bookworm "$base" "$mirror"
    rm -rf "$base"/var/cache/apt/archives/*.deb
    touch "$base/complete"
fi
rm -rf "$system"
cp -a "$base" "$system"
cp /etc/resolv.conf "$system/etc/resolv.conf"
printf 'deb %s bookworm main\n' "$mirror" >"$system/etc/apt/sources.list"
printf 'Acquire::Check-Valid-Until "false";\nAcquire::Check-Date "false";\n' >"$system/etc/apt/apt.conf.d/99clock"
# Nothing is to be started by its package: there is no init.
printf '#!/bin/sh\nexit 101\n' >"$system/usr/sbin/policy-rc.d"
chmod 755 "$system/usr/sbin/policy-rc.d"
mount -t proc proc "$system/proc"
mount --bind /dev/pts "$system/dev/pts"

# Installation.
mkdir "$system/packages"
cp "$packages"/*.deb "$system/packages"
quietly within apt-get update
quietly within sh -c 'apt-get install --yes --no-install-recommends /packages/*.deb'
is "the user is in its groups" "receiver dialout" "$(within id -nG receiver)"
is "the directory of the stores" "receiver:receiver 750" "$(within stat -c '%U:%G %a' /var/lib/receiver)"
is "the conffile" /etc/default/receiver-console \
    "$(within dpkg-query -W -f '${Conffiles}' receiver-console | awk '{print $1}' | grep .)"
mapfile -t examples < <(cd "${0%/*}/../../tools" && printf '/usr/share/receiver-bench/%s\n' {room,dumps}/*.json)
[[ ${#examples[@]} -gt 10 ]] || fail "no room and no dumps in the sources"
for file in /usr/lib/systemd/system/{external,internal}Comd@.service /usr/share/dbus-1/system.d/receiver.conf \
    /usr/lib/sysusers.d/receiver.conf /usr/share/polkit-1/rules.d/50-receiver.rules \
    /usr/share/bash-completion/completions/{platformctl,receiver-bench} \
    /usr/share/doc/receiver-{console,tools,bench}/copyright \
    /usr/share/doc/receiver-console/commands.{md,json} /usr/share/doc/receiver-bench/transcripts.md \
    /usr/share/man/man8/{external,internal}Comd.8.gz /usr/share/man/man7/receiver-commands.7.gz \
    /usr/share/man/man1/{platformctl,receiver-bench}.1.gz \
    "${examples[@]}"; do
    [[ -s $system$file ]] || fail "$file is missing"
done
is "the unit's program" /usr/bin/externalComd \
    "$(sed -n 's/^ExecStart=\([^ ]*\) .*/\1/p' "$system/usr/lib/systemd/system/externalComd@.service")"

# The system bus with the shipped policy, and the console on a serial line.
mkdir -p "$system/run/dbus"
within dbus-daemon --system --nofork --nopidfile >"$work/bus.log" 2>&1 &
waitFor "the bus" test -S "$system/run/dbus/system_bus_socket"
coproc line { exec socat - "PTY,link=$work/line,rawer"; }
waitFor "the serial line" test -e "$work/line"
device=$(readlink -f "$work/line")
chgrp dialout "$device"
chmod 660 "$device"

startConsole()
{
    as receiver env LOG_LEVELS= externalComd "$device" >"$work/console.log" 2>&1 &
    console=$!
    waitFor "the console" within dbus-send --system --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.GetNameOwner string:receiver.lpc.lpcExampledNoUse
}

# replyTo LINE
replyTo()
{
    local reply
    printf '%s\r' "$1" >&"${line[1]}"
    read -r -t 20 -u "${line[0]}" reply || fail "no reply to $1"
    printf '%s' "${reply%$'\r'}"
}

startConsole
is "a command is answered" "Blink on" "$(replyTo "Blink on")"
is "it is stored" true "$(as receiver platformctl config get control.ledMode)"
is "one that is none is refused" "Command FAILED: (Nonsense)" "$(replyTo Nonsense)"

# The policy: the group may call the console, others may not.
as receiver platformctl lpc call lpcExampledNoUse wpDispBtn "Blink sta"
read -r -t 20 -u "${line[0]}" reply || fail "no reply to a command that came by the bus"
is "the user may call the console" "Blink on" "${reply%$'\r'}"
refused=$(as nobody platformctl lpc call lpcExampledNoUse wpDispBtn "Blink off" 2>&1) && fail "anybody may call the console"
[[ $refused == *ermission* ]] || fail "nobody was refused otherwise: $refused"
echo "ok: others may not"

# An upgrade keeps the settings and what was changed in the conffile.
kill "$console"
wait "$console" || true
echo 'LOG_LEVELS=4' >>"$system/etc/default/receiver-console"
quietly within sh -c 'apt-get install --yes --reinstall --no-install-recommends /packages/*.deb'
is "the conffile is kept" LOG_LEVELS=4 "$(tail -n 1 "$system/etc/default/receiver-console")"
startConsole
is "the setting is kept" "Blink on" "$(replyTo "Blink sta")"
kill "$console"
wait "$console" || true

# The bench, as anybody.
is "the bench answers" "VOUTMute on" "$(printf 'VOUTMute on\r' | as nobody receiver-bench 2>"$work/bench.log" | tr -d '\r')"

quietly within apt-get remove --yes receiver-bench receiver-tools receiver-console
[[ ! -e $system/usr/bin/externalComd ]] || fail "a removed program is still there"
[[ -e $system/var/lib/receiver/settings.db && -e $system/etc/default/receiver-console ]] ||
    fail "removing took the settings"
echo "ok: removing keeps the settings"
quietly within apt-get purge --yes receiver-console
[[ ! -e $system/var/lib/receiver && ! -e $system/etc/default/receiver-console ]] || fail "purging left the settings"
echo "ok: purging takes them"
rm -rf --one-file-system "$system"/{usr,var,packages}
