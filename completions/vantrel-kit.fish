# Completion of vantrel-kit for fish.

# The command is the second word; a file may have the name of a command.
function __vantrel_kit_is
    set -l words (commandline -opc)
    test (count $words) -ge 2; and contains -- $words[2] $argv
end

function __vantrel_kit_first
    test (count (commandline -opc)) -eq 1
end

# All folders, and the files with one of the extensions, which are given as a regular expression.
function __vantrel_kit_files
    set -l word (commandline -ct | string replace -r -- '^--[^=]*=' '' | string replace -r '^[\'"]' '' | string unescape)
    __fish_complete_path "$word" | string match -ri "^[^\t]*(?:/|\.(?:$argv))(?:\t.*)?\$"
end

complete -c vantrel-kit -f
complete -c vantrel-kit -n __vantrel_kit_first -l help -d 'print the commands'
complete -c vantrel-kit -n __vantrel_kit_first -l version -d 'print the version'
complete -c vantrel-kit -n __vantrel_kit_first -a convert -d 'convert DSDIFF files to DSF files'
complete -c vantrel-kit -n __vantrel_kit_first -a check -d 'tell whether files are complete and consistent'
complete -c vantrel-kit -n __vantrel_kit_first -a compare -d 'tell whether two files or folders hold the same sound'
complete -c vantrel-kit -n __vantrel_kit_first -a info -d 'show what files contain'

complete -c vantrel-kit -n '__vantrel_kit_is convert' -a '(__vantrel_kit_files dff)'
complete -c vantrel-kit -n '__vantrel_kit_is check compare info' -a '(__vantrel_kit_files "dff|dsf")'

complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -s h -l help -d 'print what the command accepts'
complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -l files-from -r -F -d 'read further inputs from a file'
complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -s 0 -l null -d 'names in the list end with NUL'
complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -s j -l jobs -x -a '(seq (nproc))' -d 'inputs processed at the same time'
complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -l timeout -x -d 'seconds without a byte from a server'
complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -s q -l quiet -d 'only failures on standard error'
complete -c vantrel-kit -n '__vantrel_kit_is convert check compare info' -l json -d 'a line of JSON for each input'

complete -c vantrel-kit -n '__vantrel_kit_is convert' -s o -l output -x -a '(__vantrel_kit_files dsf)' -d 'output file or folder'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -s f -l force -d 'replace existing outputs'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -s s -l skip-existing -d 'leave inputs with an output out'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -s n -l dry-run -d 'judge every input, write nothing'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -l no-verify -d 'do not compare output and input'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -l tag -r -F -d 'put the ID3v2 tag of a file into the output'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -l no-tag -d 'write no tag'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -l lenient -d 'convert damaged files as far as possible'
complete -c vantrel-kit -n '__vantrel_kit_is convert' -l delete-input -d 'remove inputs whose output was verified'

complete -c vantrel-kit -n '__vantrel_kit_is info' -l digest -d 'add the MD5 of the sound'
