#!/bin/bash
# Runs the completion of bash outside a terminal: completions_test.bash FILE commands|list|words
#   commands  prints the commands that it offers
#   list      prints "COMMAND OPTION" for all that it offers after the commands of standard input
#   words     completes a few words and compares the answers
set -uo pipefail # not -e: a completion may contain commands that fail

# shellcheck disable=SC1090 # the file is an argument
. "$1"

complete_words() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _vantrel_kit
}

case $2 in
commands)
    complete_words vantrel-kit ''
    printf '%s\n' "${COMPREPLY[@]}" | grep -v '^-'
    exit
    ;;
list)
    while read -r command; do
        complete_words vantrel-kit "$command" -
        printf "$command %s\n" "${COMPREPLY[@]}"
    done
    exit
    ;;
esac

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
mkdir -p folder 'My Music'
touch a.dff b.DSF c.txt -- -d.dff 'My Music/one two.DFF'

failed=0
# expect 'ANSWER|ANSWER' WORD...: in any order; the last word is the one to be completed.
expect() {
    local answers found
    answers=$(tr '|' '\n' <<<"$1" | sort -u)
    shift
    complete_words vantrel-kit "$@"
    found=$(printf '%s\n' "${COMPREPLY[@]-}" | sort -u)
    if [ "$found" != "$answers" ]; then
        printf 'vantrel-kit %s: %s instead of %s\n' "$*" "${found//$'\n'/|}" "${answers//$'\n'/|}" >&2
        failed=1
    fi
}

expect 'check' ch
expect 'compare|convert' co
expect '--version' --v
expect '--skip-existing' convert --sk
expect '' check --sk
expect '--digest' info --di
expect '' unknown -
expect '-d.dff|My Music|a.dff|folder' convert ''
expect '-d.dff|My Music|a.dff|b.DSF|folder' info a.dff ''
expect 'My Music/one two.DFF' convert 'My\ Music/'
expect 'My Music/one two.DFF' compare '"My Music/'
expect '-d.dff' convert -- -
expect 'My Music|b.DSF|folder' convert -o ''
expect 'My Music|b.DSF|folder' convert --output =
expect 'c.txt' convert --tag c
expect 'c.txt' check --files-from = c
expect '1' check --jobs 1
expect 'a.dff' check --json a
expect '' convert --timeout ''
exit $failed
