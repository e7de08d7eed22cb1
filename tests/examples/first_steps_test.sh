#!/bin/sh
# Runs the commands of a transcript, which follow "$ ", and compares what they print:
# first_steps_test.sh PROGRAM TRANSCRIPT. Other programs are in the folder of PROGRAM.
set -eu

PATH=$(cd "$(dirname "$1")" && pwd):$PATH
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$2" "$scratch/expected"
cd "$scratch"
sed -n 's/^\$ //p' expected >commands
# A command that fails ends the comparison there.
while read -r command && printf '$ %s\n' "$command" && sh -c "$command" </dev/null 2>&1; do
    :
done <commands >printed
diff expected printed
