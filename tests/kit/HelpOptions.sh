# shellcheck shell=sh
# The options and commands in --help, for the tests that compare them with the manual page and the completions. The
# program is the first argument of the script that reads this file; $scratch is a folder for its files.

kit=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# One command per line.
list_commands() {
    "$kit" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | sort
}

# One option per line, -o and --output each on its own.
list_options() {
    "$kit" "$1" --help | sed -n 's/^  \(-[a-zA-Z0-9]\),  */  \1,/; s/^  \(-[^ ]*\).*/\1/p' | tr , '\n' | sort
}

# "COMMAND OPTION" per line, for all commands.
list_all() {
    list_commands | while read -r command; do
        list_options "$command" | sed "s/^/$command /"
    done | sort
}

# require_equal WHAT EXPECTED FOUND: compares two files.
require_equal() {
    [ -s "$2" ] || { echo "nothing to compare $1 with" >&2; exit 1; }
    diff "$2" "$3" || { echo "$1 differs from --help (< help, > $1)" >&2; exit 1; }
}
