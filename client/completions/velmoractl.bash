# Bash completion for velmoractl. Source it, or install it under the name "velmoractl" in
# share/bash-completion/completions.

# The keys that remove takes, as KIND/LABEL: a "|" would need quotes. Labels are letters, digits
# and ".", "_", "-" only.
_velmoractl_items() {
  local line
  while IFS= read -r line; do
    if [[ $line =~ ,\"key\":\"([^\"]*)\" ]]; then echo "${BASH_REMATCH[1]/|//}"; fi
  done < <(velmoractl list --json 2>/dev/null)
}

_velmoractl() {
  local current=${COMP_WORDS[COMP_CWORD]} command='' choices=() word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $word != -* ]]; then
      command=$word
      break
    fi
  done

  case $command in
    '')
      choices=(version flush-dns-cache rebuild-spotlight-index repair-user-permissions
        thin-local-snapshots free-memory list remove --help)
      ;;
    list) choices=(--json --help) ;;
    remove)
      choices=(--yes --help)
      if [[ $current != -* ]]; then mapfile -t choices < <(_velmoractl_items); fi
      ;;
    *) choices=(--help) ;;
  esac

  COMPREPLY=()
  for word in "${choices[@]}"; do
    if [[ $word == "$current"* ]]; then COMPREPLY+=("$word"); fi
  done
}

complete -F _velmoractl velmoractl
