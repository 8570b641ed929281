#!/bin/bash
# checkCommandReference.sh GENERATED: the committed command reference is what the build made of the command table.
set -euo pipefail

generated=$1
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
failed=0
compare()
{
    diff -u "$1" "$generated/$(basename "$1")" || failed=1
}
compare docs/commands.json
compare docs/commands.md
compare packaging/man/receiver-commands.7
stale=$failed
# Every key of the JSON form is explained.
explained=$(sed -n '/^## The keys of/,$p' docs/commands.md)
for key in $(grep -oE '"[A-Za-z]+":' docs/commands.json | tr -d '":' | sort -u); do
    if ! grep -qF -e "\`$key\`" <<<"$explained"; then
        echo "docs/commands.md does not explain the key $key of commands.json" >&2
        failed=1
    fi
done
if [[ $stale -ne 0 ]]; then
    echo "stale: cmake --build BUILD --target updateCommandReference, and commit" >&2
fi
exit "$failed"
