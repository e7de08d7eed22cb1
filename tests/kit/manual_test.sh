#!/bin/sh
# Compares the options and commands in the manual page with --help: manual_test.sh PROGRAM PAGE
set -eu

page=$2
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source-path=SCRIPTDIR source=HelpOptions.sh
. "$here/HelpOptions.sh"

# The section of options that all commands accept, and one subsection for each command: "SECTION OPTION" per line.
awk '
    /^\.Sh / { part = $2 == "OPTIONS" ? "all" : ""; commands = $2 == "COMMANDS" }
    /^\.Ss / { part = commands ? $2 : part; if (commands) print part }
    part != "" && /^\.It Fl / {
        for (i = 2; i < NF; ++i) if ($i == "Fl") print part, "-" $(i + 1)
    }' "$page" >"$scratch/page"

list_commands >"$scratch/expected"
grep -v ' ' "$scratch/page" | sort >"$scratch/found"
require_equal "the list of commands" "$scratch/expected" "$scratch/found"

list_all >"$scratch/expected"
while read -r command; do
    sed -n "s/^all /$command /p; t; /^$command -/p" "$scratch/page"
done <"$scratch/found" | sort >"$scratch/options"
require_equal "the manual page" "$scratch/expected" "$scratch/options"

if command -v mandoc >/dev/null; then
    mandoc -T lint -W warning "$page"
fi
