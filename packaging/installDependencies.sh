#!/bin/bash
# installDependencies.sh build|test|bench|package|armhf|lint|valgrind...: installs with apt-get what is missing of the
# packages that building, testing, measuring or testing the Debian packages needs, or the preset of that name. Removes
# nothing; says nothing and asks for nothing when all of them are there.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libsqlite3-dev libsystemd-dev libjson-c-dev libcli11-dev libedit-dev dbus-daemon)
test=(libgtest-dev libgmock-dev sqlite3 tmux clang-format git clang libclang-rt-14-dev man-db python3 systemd
    valgrind)
# The programs that the console is measured against come with services; those are kept from starting.
bench=(redis-server ser2net python3 valgrind strace libbenchmark-dev)
package=(debootstrap lintian socat)
services=(redis-server ser2net)
armhf=(g++-arm-linux-gnueabihf qemu-user-static)  # what is linked against is unpacked by armhfSysroot
lint=(clang-tidy cppcheck)
valgrind=(valgrind)

packages=()
for purpose in "$@"; do
    case $purpose in
    build) packages+=("${build[@]}") ;;
    test) packages+=("${test[@]}") ;;
    bench) packages+=("${bench[@]}") ;;
    package) packages+=("${package[@]}") ;;
    armhf) packages+=("${armhf[@]}") ;;
    lint) packages+=("${lint[@]}") ;;
    valgrind) packages+=("${valgrind[@]}") ;;
    *)
        echo "$0: nothing is known to be needed for '$purpose'" >&2
        exit 2
        ;;
    esac
done

isInstalled()
{
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

missing=()
for package in "${packages[@]}"; do
    isInstalled "$package" || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

asRoot=()
if [[ $EUID -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "$0: as root, run: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    asRoot=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
aptGet()
{
    "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@" \
        </dev/null >"$log" 2>&1
}
install()
{
    aptGet install --yes --no-remove --no-install-recommends "${missing[@]}"
}

# What apt-get asks before it starts a service (invoke-rc.d(8)); its answer 101 is no.
policy=/usr/sbin/policy-rc.d
forbidServices()
{
    [[ " ${missing[*]} " =~ \ (${services[0]}|${services[1]})\  && ! -e $policy ]] || return 0
    printf '#!/bin/sh\nexit 101\n' | "${asRoot[@]}" tee $policy >/dev/null
    "${asRoot[@]}" chmod 755 $policy
    trap '"${asRoot[@]}" rm -f "$policy"; rm -f "$log"' EXIT
}
# Nor are they to start with the next boot.
disableServices()
{
    local service
    for service in "${services[@]}"; do
        if [[ " ${missing[*]} " == *" $service "* ]] && command -v systemctl >/dev/null; then
            "${asRoot[@]}" systemctl --quiet disable "$service" 2>/dev/null || true
        fi
    done
}

echo "installing ${missing[*]}" >&2
forbidServices
# The package lists may be missing or old; they are fetched only when it fails without.
if ! install && ! { aptGet update && install; }; then
    cat "$log" >&2
    echo "$0: apt-get could not install ${missing[*]}" >&2
    exit 1
fi
disableServices
