#!/bin/bash
# checkTestCommands.sh BUILD [SUITE...]: every test command that a document names selects a test of the build directory. A
# pattern that begins with one of the suites is left out: this machine does not have them.
set -euo pipefail

build=$(cd "$1" && pwd)
shift
leftOut=("$@")
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# CTest lists the tests from a directory of its own: even so it writes a log, and one of the build directory may be open.
echo "subdirs(\"$build\")" >"$work/CTestTestfile.cmake"
failed=0
checked=0

# What stands behind a command's name, as far as a test is chosen by it.
option="--preset +[A-Za-z]+|-[RLE] +('[^']*'|[^ \`]+)"
# commands FILE: the commands that choose tests, a line each; one may be broken between its words.
commands()
{
    tr '\n' ' ' <"$1" | grep -oE "((\./test|ctest)( +($option))+|\`-[RLE] +('[^']*'|[^ \`]+))" | grep -E -- '-[RLE] ' |
        sed -E "s/^\`/ctest /; s/ +/ /g; s/[,.;]\$//" || true
}

# names [OPTION...]: the file with the names of the tests that CTest selects by these options.
names()
{
    local file=$work/names$(printf '%s' "$*" | tr -c '[:alnum:]' _)
    if [[ ! -e $file ]]; then
        "${CTEST:-ctest}" --test-dir "$work" -N "$@" | sed -n 's/^ *Test *#[0-9]*: //p' >"$file"
    fi
    printf '%s' "$file"
}

wrong()
{
    echo "$1: $2: $3" >&2
    failed=1
}

# check FILE COMMAND
check()
{
    local file=$1 command=$2 selected option value suite alternative
    local labels=()
    local patterns=()
    # The filters of the presets; what other presets have is built by them alone.
    case $command in
    ./test* | 'ctest --preset test '*) labels=(-LE 'slow|package') ;;
    'ctest --preset slow '* | 'ctest --preset package '*) labels=(-L "$(cut -d ' ' -f 3 <<<"$command")") ;;
    esac
    while read -r option value; do
        value=${value#\'}
        value=${value%\'}
        case $option in
        -L) labels+=(-L "$value") ;;
        *) patterns+=("$value") ;;
        esac
    done < <(grep -oE -- "-[RLE] ('[^']*'|[^ ]+)" <<<"$command")
    selected=$(names "${labels[@]}")
    [[ -s $selected ]] || wrong "$file" "$command" "no test has such a label"
    for value in "${patterns[@]}"; do
        # A backslash before a bar comes from a table; CTest has no counts in braces, grep has.
        if [[ $value == *[\\{]* ]]; then
            wrong "$file" "$command" "not a pattern as CTest reads it"
            continue
        fi
        # Of A|B both are to select something.
        while read -r alternative; do
            for suite in "${leftOut[@]}"; do
                [[ $alternative != "$suite"* ]] || continue 2
            done
            grep -qE -e "$alternative" "$selected" || wrong "$file" "$command" "no test is called '$alternative'"
        done < <(if [[ $value == *'('* ]]; then echo "$value"; else tr '|' '\n' <<<"$value"; fi)
    done
    checked=$((checked + 1))
}

for file in README.md CONTRIBUTING.md docs/*.md test; do
    while read -r command; do
        check "$file" "$command"
    done < <(commands "$file")
    # A suite that is run by its program.
    while read -r suite; do
        grep -qF -e "$suite" "$(names)" || wrong "$file" "--gtest_filter='$suite*'" "no test is called so"
        checked=$((checked + 1))
    done < <(grep -oE -- "--gtest_filter='[A-Za-z/.]+" "$file" | cut -d "'" -f 2)
done
[[ $checked -gt 30 ]] || { echo "only $checked commands found" >&2; failed=1; }
exit "$failed"
