#!/bin/bash
# checkFormat.sh [-i]: every C and C++ source of the repository has the layout of .clang-format, or with -i is given it.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/../.."
mapfile -t sources < <(git ls-files --cached --others --exclude-standard '*.c' '*.cpp' '*.h')
[[ ${#sources[@]} -gt 0 ]] || { echo "no sources found" >&2; exit 1; }
if [[ ${1-} == -i ]]; then
    exec clang-format -i "${sources[@]}"
fi
clang-format --dry-run -Werror "${sources[@]}"
