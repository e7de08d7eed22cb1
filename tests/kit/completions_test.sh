#!/bin/sh
# Compares the completions for bash, zsh and fish with --help of every command: completions_test.sh PROGRAM FOLDER
# The files for zsh and fish are read as text, so neither shell is needed; that for bash is run, if bash is there.
set -eu

completions=$2
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source-path=SCRIPTDIR source=HelpOptions.sh
. "$here/HelpOptions.sh"
list_all >"$scratch/help"
list_commands >"$scratch/commands"

# Arrays of options, and a case for each command that names the arrays it takes.
awk '
    /^[a-z]+=\($/ { array = substr($0, 1, index($0, "=") - 1); next }
    /^\)/         { array = ""; next }
    array != "" {
        gsub(/\047\([^)]*\)/, ""); gsub(/[\047{}*]/, ""); sub(/\[.*/, ""); gsub(/ /, "")
        count = split($0, names, ",")
        for (i = 1; i <= count; ++i) { sub(/[+=]+$/, "", names[i]); options[array] = options[array] " " names[i] }
        next
    }
    /^ +[a-z]+\) _arguments / {
        command = $1; sub(/\)/, "", command)
        for (i = 2; i <= NF; ++i) {
            if (substr($i, 1, 1) != "$") continue
            count = split(options[substr($i, 2)], names, " ")
            for (k = 1; k <= count; ++k) print command, names[k]
        }
    }' "$completions/_vantrel-kit" | sort >"$scratch/zsh"
require_equal zsh "$scratch/help" "$scratch/zsh"
sed -n "/^commands=(/,/^)/s/^ *'\([a-z]*\):.*/\1/p" "$completions/_vantrel-kit" | sort >"$scratch/zsh"
require_equal zsh "$scratch/commands" "$scratch/zsh"

# One line for each option, which names its commands.
awk -F "'" '
    /^complete .* \047__vantrel_kit_is [a-z ]*\047 -[sl] / {
        count = split($2, commands, " ")
        words = split($3, names, " ")
        for (i = 2; i <= count; ++i) {
            for (k = 1; k < words; ++k) {
                if (names[k] == "-s") print commands[i], "-" names[k + 1]
                if (names[k] == "-l") print commands[i], "--" names[k + 1]
            }
        }
    }' "$completions/vantrel-kit.fish" | sort >"$scratch/fish"
require_equal fish "$scratch/help" "$scratch/fish"
sed -n 's/^complete .* __vantrel_kit_first -a \([a-z]*\) .*/\1/p' "$completions/vantrel-kit.fish" | sort >"$scratch/fish"
require_equal fish "$scratch/commands" "$scratch/fish"

if ! command -v bash >/dev/null; then
    echo "bash is missing: its completion was not run"
    exit 0
fi
bash "$here/completions_test.bash" "$completions/vantrel-kit.bash" list <"$scratch/commands" | sort >"$scratch/bash"
require_equal bash "$scratch/help" "$scratch/bash"
bash "$here/completions_test.bash" "$completions/vantrel-kit.bash" words
bash "$here/completions_test.bash" "$completions/vantrel-kit.bash" commands | sort >"$scratch/bash"
require_equal bash "$scratch/commands" "$scratch/bash"
