# Completion of kep-rg in bash: commands, their options, what may stand behind these, and names of nodes and instances, level by
# level, out of a device database that stands earlier on the line. All of it is asked of the tool itself. Where a file may stand
# nothing is answered, and bash completes names of files as it always does.

# Sets, of the line up to the cursor: `words`, those before the one to complete; `word`, that one, both without quotes; `kept`, its
# part that bash leaves as it is, up to the last ":" or "=" or an open quote; `quote`, the quote that is open.
_kep_rg_split() {
  local line=${COMP_LINE:0:COMP_POINT} begun='' char i
  words=() word='' kept='' quote=''
  for ((i = 0; i < ${#line}; i++)); do
    char=${line:i:1}
    if [[ $quote ]]; then
      if [[ $char == "$quote" ]]; then
        quote=
      else
        [[ $char$quote != '\"' ]] || char=${line:$((++i)):1}
        word+=$char
      fi
    elif [[ $char == [\'\"] ]]; then
      quote=$char kept=$word begun=1
    elif [[ $char == [[:space:]] ]]; then
      [[ ! $begun ]] || words+=("$word")
      word='' kept='' begun=
    else
      [[ $char != \\ ]] || char=${line:$((++i)):1}
      word+=$char begun=1
      [[ $COMP_WORDBREAKS != *"$char"* || ${line:i-1:1} == \\ ]] || kept=$word
    fi
  done
}

# What the help names behind an option: "FILE", "a|b|c"; nothing for a flag and for what is no option.
_kep_rg_value() { # HELP OPTION
  local line
  while IFS= read -r line; do
    [[ $line =~ ^\ \ (-[^ ]*)(\ ([^ :=]+))? && ,${BASH_REMATCH[1]}, == *,"$2",* ]] || continue
    printf '%s\n' "${BASH_REMATCH[3]}"
    return
  done <<<"$1"
}

# What the beginning of a name can become, by the first database among the words, a line each.
_kep_rg_names() { # TOOL BEGINNING WORD...
  local tool=$1 beginning=$2 file
  for file in "${@:3}"; do
    file=${file/#'~/'/"$HOME/"}
    [[ $file == *.kdb && -f $file ]] || continue
    "$tool" info "$file" --complete "$beginning" 2>/dev/null
    return
  done
}

_kep_rg() {
  local tool=${1/#'~/'/"$HOME/"} words word kept quote option lead='' help='' kind='' choices='' i
  _kep_rg_split
  COMPREPLY=()
  compopt +o default 2>/dev/null
  option=${words[${#words[@]} - 1]}
  if [[ $word == --*=* ]]; then
    option=${word%%=*} lead=${word%%=*}= word=${word#*=}
  fi
  if ((${#words[@]} == 1)); then
    help=$("$tool" --help 2>/dev/null) || return
    choices=$(sed -n '/^Subcommands:/,$ s/^  \([^ ]*\) .*/\1/p' <<<"$help")
    option=
  else
    help=$("$tool" "${words[1]}" --help 2>/dev/null) || return
  fi
  kind=$(_kep_rg_value "$help" "$option")
  if [[ ! $kind && $word != -* && $help =~ Usage:[^$'\n']*'[ROUTING ...] '([A-Z-]+) && " ${words[*]}" == *.kdb* ]]; then
    kind=${BASH_REMATCH[1]} # a database takes no further file
  fi
  case $kind in
    FILE* | *.*) compopt -o default 2>/dev/null ;;
    DIR) compopt -o dirnames 2>/dev/null ;;
    *'|'*) choices=${kind//'|'/ } ;;
    ID) choices=$(sed -n 's/.* Kinds: //p' <<<"$help" | tr -d ,) ;;
    INSTANCE*)
      # An instance stands without what may follow, and with "/" to go on.
      mapfile -t COMPREPLY < <(_kep_rg_names "$tool" "$word" "${words[@]:2}" | sed -n 's/:$//p; s/\/$/&/p; s/\/$//p' | sort -u)
      ;;
    UIP | FROM | TO | *NODE*) mapfile -t COMPREPLY < <(_kep_rg_names "$tool" "$word" "${words[@]:2}") ;;
    ?*) ;; # a number or a text of the user's own
    *)
      if [[ $word == -* ]]; then
        choices=$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , ' ')
      elif [[ $help == *Positionals:* ]]; then
        compopt -o default 2>/dev/null
      fi
      ;;
  esac
  [[ ! $choices ]] || mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
  for i in "${!COMPREPLY[@]}"; do
    word=$lead${COMPREPLY[i]}
    word=${word:${#kept}}
    [[ $quote ]] || printf -v word %q "$word"
    COMPREPLY[i]=$word
  done
  if [[ ${COMPREPLY[0]} == *[/:] ]]; then compopt -o nospace 2>/dev/null; fi
}

complete -F _kep_rg -o default kep-rg
