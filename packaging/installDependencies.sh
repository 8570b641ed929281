#!/bin/bash
# installDependencies.sh build|test...: installs with apt-get what is missing of the packages that building, or testing
# as well, needs. Says nothing and asks for nothing when all of them are there.
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libsqlite3-dev libsystemd-dev libjson-c-dev libcli11-dev dbus-daemon)
test=(libgtest-dev libgmock-dev sqlite3 clang-format git clang libclang-rt-14-dev)

packages=()
for purpose in "$@"; do
    case $purpose in
    build) packages+=("${build[@]}") ;;
    test) packages+=("${test[@]}") ;;
    *)
        echo "$0: '$purpose' is neither build nor test" >&2
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
    aptGet install --yes --no-install-recommends "${missing[@]}"
}

echo "installing ${missing[*]}" >&2
# The package lists may be missing or old; they are fetched only when it fails without.
if ! install && ! { aptGet update && install; }; then
    cat "$log" >&2
    echo "$0: apt-get could not install ${missing[*]}" >&2
    exit 1
fi
