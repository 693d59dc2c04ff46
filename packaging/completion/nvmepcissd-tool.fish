# fish completion for nvmepcissd-tool
#
# Subcommands, options and their values are those that the program lists with --help, so they need no list here.

function __nvmepcissd_tool_subcommands
    nvmepcissd-tool --help 2>/dev/null | sed -nE '/^Subcommands:/,/^$/s/^  ([a-z][a-z-]*) +(.*)$/\1\t\2/p'
end

# The description of a long option is on the next line, and left out.
function __nvmepcissd_tool_options
    set -l words (commandline -opc)
    nvmepcissd-tool $words[2] --help 2>/dev/null | sed -nE '/^Options:/,/^$/{
        s/^  (-[^ ,]*),(-[^ ]*).*   +(.*)$/\1\t\3\n\2\t\3/p; t
        s/^  (-[^ ]*).*   +(.*)$/\1\t\2/p; t
        s/^  (-[^ ,]*),(-[^ ]*).*$/\1\n\2/p; t
        s/^  (-[^ ]*).*$/\1/p
    }'
end

function __nvmepcissd_tool_arguments
    set -l words (commandline -opc)
    set -l values (nvmepcissd-tool $words[2] --help 2>/dev/null |
        sed -nE "s/^  (-[^ ,]*,)?$words[-1] [A-Z]*:\{([^}]*)\}.*/\2/p" | string split ,)
    if test (count $values) -gt 0
        string join \n $values
    else if contains -- $words[-1] -o --output --log --policy
        __fish_complete_path (commandline -ct)
    else if contains -- $words[-1] --state; or contains -- $words[2] check drives init inventory plan update
        __fish_complete_directories (commandline -ct)
    else if contains -- $words[2] metrics
        return
    else if contains -- $words[2] show report verify
        __fish_complete_path (commandline -ct) | string match -r '^[^\t]*(?:/|\.xml|\.json)(?:\t.*)?$'
    else
        __fish_complete_path (commandline -ct)
    end
end

complete -c nvmepcissd-tool -f
complete -c nvmepcissd-tool -n 'not string match -q -- "-*" (commandline -ct); and test (count (commandline -opc)) -eq 1' \
    -a '(__nvmepcissd_tool_subcommands)'
complete -c nvmepcissd-tool -n 'string match -q -- "-*" (commandline -ct)' -a '(__nvmepcissd_tool_options)'
complete -c nvmepcissd-tool -n 'not string match -q -- "-*" (commandline -ct); and test (count (commandline -opc)) -gt 1' \
    -a '(__nvmepcissd_tool_arguments)'
