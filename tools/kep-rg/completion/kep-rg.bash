# Completion of kep-rg in bash: commands, their options, and what may stand behind these. All of it is asked of the tool
# itself. Where a file may stand nothing is answered, and bash completes names of files as it always does.

# What the help names behind an option: "FILE", "a|b|c"; nothing for a flag and for what is no option.
_kep_rg_value() { # HELP OPTION
  local line
  while IFS= read -r line; do
    [[ $line =~ ^\ \ (-[^ ]*)(\ ([^ :=]+))? && ,${BASH_REMATCH[1]}, == *,"$2",* ]] || continue
    printf '%s\n' "${BASH_REMATCH[3]}"
    return
  done <<<"$1"
}

_kep_rg() {
  local tool=${1/#'~/'/"$HOME/"} word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} help words
  COMPREPLY=()
  compopt +o default 2>/dev/null
  if ((COMP_CWORD == 1)); then
    help=$("$tool" --help 2>/dev/null) || return
    words=$(sed -n '/^Subcommands:/,$ s/^  \([^ ]*\) .*/\1/p' <<<"$help")
    option=
  else
    help=$("$tool" "${COMP_WORDS[1]}" --help 2>/dev/null) || return
  fi
  # "--form=tiles" comes as three words.
  if [[ $word == = ]]; then
    word=
  elif [[ $option == = ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $(_kep_rg_value "$help" "$option") in
    *'|'*) words=$(_kep_rg_value "$help" "$option" | tr '|' ' ') ;;
    ID) words=$(sed -n 's/.* Kinds: //p' <<<"$help" | tr -d ,) ;;
    DIR) compopt -o dirnames 2>/dev/null ;;
    FILE* | *.*) compopt -o default 2>/dev/null ;;
    ?*) ;; # a number or a text of the user's own
    *)
      if [[ $word == -* ]]; then
        words=$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , ' ')
      elif [[ $help == *Positionals:* ]]; then
        compopt -o default 2>/dev/null
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -F _kep_rg -o default kep-rg
