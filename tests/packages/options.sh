#!/bin/bash
# options.sh PROGRAMS PACKAGING: every option and verb that --help of a tool names is in its manual page and is
# completed, and the completion offers what fits the place.
set -euo pipefail

programs=$(cd "$1" && pwd)
packaging=$(cd "$2" && pwd)
failed=0

fail()
{
    echo "$*" >&2
    failed=1
}

# completed PROGRAM WORD...: what is offered for the last word, a word a line.
completed()
{
    bash --norc --noprofile -c '
        PATH=$1:$PATH
        source "$2/completion/$3"
        function=$(complete -p "$3" | sed "s/.*-F \([^ ]*\) .*/\1/")
        shift 2
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        "$function" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf "%s\n" "${COMPREPLY[@]}"
    ' bash "$programs" "$packaging" "$@"
}

# offers EXPECTED PROGRAM WORD...: the words are among what is completed.
offers()
{
    local expected=$1 word offered
    shift
    offered=$(completed "$@")
    for word in $expected; do
        grep -qxF -e "$word" <<<"$offered" || fail "$*: not offered: $word"
    done
}

# exactly EXPECTED PROGRAM WORD...: these words and no other are completed.
exactly()
{
    local expected=$1 offered
    shift
    offered=$(completed "$@" | paste -sd ' ')
    [[ $offered == "$expected" ]] || fail "$*: offered '$offered' in place of '$expected'"
}

for program in platformctl receiver-bench; do
    page=$(sed 's/\\-/-/g' "$packaging/man/$program.1")
    options=$("$programs/$program" --help | grep -oE -e '(^|[^[:alnum:]-])--[a-z][a-z-]*' | grep -oE -e '--.*' | sort -u)
    [[ -n $options ]] || fail "$program --help names no option"
    for option in $options; do
        grep -qE -e "$option([^[:alnum:]-]|\$)" <<<"$page" || fail "$program.1 does not name $option"
        case $program$option in
        platformctl--reply | platformctl--fail | platformctl--delay) offers "$option" platformctl lpc serve SERVICE -- ;;
        *) offers "$option" "$program" -- ;;
        esac
    done
    # The other way round: nothing is documented or offered that is not there.
    for option in $(grep -oE -e '--[a-z][a-z-]*' <<<"$page" | sort -u) $(completed "$program" --); do
        grep -qxF -e "$option" <<<"$options" || fail "$program has no option $option"
    done
done

# The words that a trace has, and the ways to run that a signal ends with 128 + N.
bench=$(sed 's/\\-/-/g' "$packaging/man/receiver-bench.1")
help=$("$programs/receiver-bench" --help)
for trace in "$(sed -n '/^\.B --trace$/,/^\.TP/p' <<<"$bench")" "$(sed -n '/^A line of --trace/,/^$/p' <<<"$help")"; do
    for word in '>' '<' event store call answer failed run hdbt 'no longer'; do
        grep -qE "(^|[^[:alnum:]])$word([^[:alnum:]]|\$)" <<<"$trace" || fail "receiver-bench: $word of --trace: $trace"
    done
done
for text in "$(sed -n '/^\.SH EXIT STATUS/,/^\.SH EXAMPLES/p' <<<"$bench")" "$(sed -n '/^Exit status/,$p' <<<"$help")"; do
    [[ $text == *"128 + N"*--raw*script*--tcp*--device*terminal* ]] || fail "receiver-bench: exit status: $text"
done

exactly "config status factory event lpc --help --version" platformctl ""
exactly "config" platformctl c
while read -r group verbs; do
    exactly "$verbs --help" platformctl "$group" ""
    for verb in $verbs; do
        grep -q -- "$verb" "$packaging/man/platformctl.1" || fail "platformctl.1 does not name $verb"
        # A verb that there is says what it lacks; one that there is not is told so.
        said=$("$programs/platformctl" "$group" "$verb" --nonsense 2>&1 || true)
        [[ $said != *"is none of"* ]] || fail "platformctl has no $group $verb"
    done
done <<'END'
config get set update load unset dump
factory get set dump
lpc call serve
END
offers "audioUserConfigChanged CommandFeedback videoStatusConfigChanged" platformctl event watch ""
exactly "lpcExampledNoUse lpcExampledNoUse2" platformctl lpc call ""

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PLATFORM=local:$work DBUS_SESSION_BUS_ADDRESS=unix:path=$work/none
# No bus hears of it; the store has it all the same.
"$programs/platformctl" config update \
    '{"audio":{"audOut":{"allMute":true,"name":"a\"b,}{"}},"account":{"users":[{"username":"a"},[1]]}}' 2>/dev/null || true
exactly "account.users audio.audOut.allMute audio.audOut.name" platformctl config get ""
exactly "audio.audOut.allMute" platformctl config set audio.audOut.a
exactly "account audio" platformctl config dump ""
mkdir "$work/state"
cd "$work"
exactly "state" receiver-bench sta
exactly "state" receiver-bench --dir sta
exit "$failed"
