# shellcheck shell=bash
# Completion of vantrel-kit for bash. Uses no function of the package bash-completion, which only loads the file.

# All folders, and the files whose names match one of the patterns.
_vantrel_kit_files() {
    local name=$1 pattern
    shift
    # The word is still quoted as it was typed; readline quotes the answer again.
    case $name in
    \'* | \"*) name=${name:1} ;;
    *) name=${name//\\/} ;;
    esac
    # Fails outside a completion, as in a test.
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$name")
    for pattern; do
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -X "!$pattern" -- "$name")
    done
}

_vantrel_kit() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    local common='-h --help --files-from -0 --null -j --jobs --timeout -q --quiet --json'
    local outputs='-o --output -f --force -s --skip-existing -n --dry-run --no-verify'
    local converts='--tag --no-tag --lenient --delete-input'
    local -a sound=('*.[dD][fF][fF]' '*.[dD][sS][fF]')
    local options i
    COMPREPLY=()

    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W 'convert check compare info --help --version' -- "$word")
        return
    fi
    case $command in
    convert)
        options="$common $outputs $converts"
        sound=('*.[dD][fF][fF]')
        ;;
    check | compare) options=$common ;;
    info) options="$common --digest" ;;
    *) return ;;
    esac

    # "--option=value" arrives as three words.
    if [[ $word == = ]]; then
        word=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    # After "--" everything is an input.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then
            _vantrel_kit_files "$word" "${sound[@]}"
            return
        fi
    done

    case $previous in
    -o | --output) _vantrel_kit_files "$word" '*.[dD][sS][fF]' ;;
    --tag | --files-from) _vantrel_kit_files "$word" '*' ;;
    -j | --jobs) mapfile -t COMPREPLY < <(compgen -W "$(seq "$(nproc)")" -- "$word") ;;
    --timeout) ;;
    *)
        if [[ $word == -* ]]; then
            mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        else
            _vantrel_kit_files "$word" "${sound[@]}"
        fi
        ;;
    esac
}

complete -F _vantrel_kit vantrel-kit
