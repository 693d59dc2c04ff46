# bash completion for nvmepcissd-tool                            -*- shell-script -*-
#
# Subcommands, options and their values are those that the program lists with --help, so they need no list here.

_nvmepcissd_tool() {
  local cur prev words cword
  _init_completion || return

  local command=() help
  [[ $cword -gt 1 ]] && command=("${words[1]}")
  help=$("$1" "${command[@]}" --help 2>/dev/null)
  if [[ $cur == -* ]]; then
    help=$(sed -n '/^Options:/,/^$/s/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , '\n')
  elif [[ $cword -eq 1 ]]; then
    help=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$help")
  else
    help=$(sed -nE "s/^  (-[^ ,]*,)?$prev [A-Z]*:\{([^}]*)\}.*/\2/p" <<<"$help" | tr , '\n')
    if [[ -z $help ]]; then
      case ${words[1]}:$prev in
        *:-o | *:--output | *:--log | *:--policy) _filedir ;;
        *:--state | check:* | drives:* | init:* | inventory:* | plan:* | update:*) _filedir -d ;;
        metrics:*) ;;
        show:* | report:* | verify:*) _filedir '@(xml|json)' ;;
        *) _filedir ;;
      esac
      return
    fi
  fi
  mapfile -t COMPREPLY < <(compgen -W "$help" -- "$cur")
} &&
  complete -F _nvmepcissd_tool nvmepcissd-tool
