#!/bin/bash
# manuals.sh PAGES: every manual page renders without a warning.
set -euo pipefail

failed=0
for page in "$1"/*; do
    said=$(MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings --local-file "$page" 2>&1 >/dev/null)
    if [[ -n $said ]]; then
        printf '%s:\n%s\n' "${page##*/}" "$said" >&2
        failed=1
    fi
    rendered=$(MANWIDTH=80 LC_ALL=C.UTF-8 man --local-file "$page" 2>/dev/null | wc -l)
    [[ $rendered -gt 20 ]] || { echo "${page##*/}: only $rendered lines" >&2; failed=1; }
done
exit "$failed"
