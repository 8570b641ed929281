#!/bin/bash
# checkIncludes.sh: dependencies point down only. What a target links decides most of it; this names the line, and also
# sees what builds by chance.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/../.."
failed=0

# refuse WHAT PATTERN FILE...: no line of the files matches the extended regular expression.
refuse()
{
    local what=$1 pattern=$2
    shift 2
    if grep -nHE "$pattern" "$@"; then
        echo "  ^ $what" >&2
        failed=1
    fi
}

# layer FOLDER FOLDER...: the sources of the first folder include of ours only the record and what stands below the
# others.
layer()
{
    local folder=$1 allowed="core/consoleParameter\.h"
    local below files
    for below in "$@"; do
        allowed+="|$below/"
    done
    mapfile -t files < <(sources "$folder")
    local found
    found=$(grep -nHE '#include "' "${files[@]}" | grep -vE "#include \"($allowed)" || true)
    if [[ -n $found ]]; then
        printf '%s\n  ^ %s includes a layer above it\n' "$found" "$folder" >&2
        failed=1
    fi
}

# commandTable.cpp names the handlers above it.
sources()
{
    git ls-files --cached --others --exclude-standard "$1/*.c" "$1/*.cpp" "$1/*.h" | grep -v '^console/commandTable\.cpp$'
}

mapfile -t all < <(git ls-files --cached --others --exclude-standard '*.c' '*.cpp' '*.h')
mapfile -t outsideEngine < <(printf '%s\n' "${all[@]}" | grep -vE '^(platform/local/|bench/|tests/conformance/local|tests/faults/)')
mapfile -t daemon < <(printf '%s\n' "${all[@]}" | grep -vE '^(platform/local|tools|tests|fuzz)/')

refuse "a path that leaves its folder" '#include ["<]\.\./|#include "[^"]*/\.\./' "${all[@]}"
refuse "an engine outside the bundled platform" '#include [<"](sqlite3|systemd/|dbus/)' "${outsideEngine[@]}"
refuse "the bundled platform in the daemon" '#include "platform/local/' "${daemon[@]}"

layer platform/include platform
layer platform/support platform
layer serial platform
layer console platform serial
layer commands platform serial console
layer display platform serial console
layer diagnostics platform serial console

exit "$failed"
