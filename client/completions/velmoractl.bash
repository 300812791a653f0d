# Bash completion for velmoractl. Source it, or install it under the name "velmoractl" in
# share/bash-completion/completions.

# Makes the caller's choices the value of MEMBER in each object that velmoractl prints for the command
# that follows. Keys, ids and labels are letters, digits and ".", "_", "-", "|" only. In words that
# macOS's bash 3.2 knows.
_velmoractl_choose_values() {
  local line pattern="[,{]\"$1\":\"([^\"]*)\""
  choices=()
  while IFS= read -r line; do
    if [[ $line =~ $pattern ]]; then choices+=("${BASH_REMATCH[1]}"); fi
  done < <(velmoractl "${@:2}" --json 2>/dev/null)
}

_velmoractl() {
  local current=${COMP_WORDS[COMP_CWORD]} words=() choices=() word
  local commands=(version flush-dns-cache rebuild-spotlight-index repair-user-permissions
    thin-local-snapshots free-memory list remove archive doctor help)
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $word != -* ]]; then words+=("$word"); fi
  done

  case ${words[0]-} in
    '') choices=("${commands[@]}" --help --version) ;;
    flush-dns-cache | repair-user-permissions | free-memory) choices=(--wait --json --help) ;;
    rebuild-spotlight-index | thin-local-snapshots) choices=(--yes --wait --json --help) ;;
    list | doctor) choices=(--json --help) ;;
    remove)
      choices=(--yes --dry-run --wait --json --help)
      if [[ $current != -* ]]; then
        _velmoractl_choose_values key list
        choices=("${choices[@]/|//}") # a "|" would need quotes
      fi
      ;;
    archive)
      case ${words[1]-} in
        '') choices=(list restore --help) ;;
        list) choices=(--json --help) ;;
        restore)
          choices=(--yes --load --help)
          if [[ $current != -* ]]; then _velmoractl_choose_values id archive list; fi
          ;;
      esac
      ;;
    help) choices=("${commands[@]}") ;;
    *) choices=(--help) ;;
  esac

  COMPREPLY=()
  for word in "${choices[@]}"; do
    if [[ $word == "$current"* ]]; then COMPREPLY+=("$word"); fi
  done
}

complete -F _velmoractl velmoractl
