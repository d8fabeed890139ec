# Completion of fourtap's arguments, for bash: of what its own help says.
_fourtap() {
  local fourtap=${COMP_WORDS[0]/#\~/$HOME} word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  # --option=value comes as three words.
  [[ $word == = ]] && word=''
  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}
  local help words='' value=''
  help=$("$fourtap" --help 2>/dev/null)
  # Behind an option stands what it takes: a word for it, or all that it may be, with bars between.
  [[ $previous == -* && $help =~ $'\n  '(-[a-z],)?"$previous"(,--[a-z-]+)?' '([^[:space:]]+) ]] && value=${BASH_REMATCH[3]}
  if [[ $previous == --set ]]; then
    words=$("$fourtap" --info 2>/dev/null | sed -n 's/^sets: //p')
  elif [[ $value == *'|'* ]]; then
    words=${value//|/ }
    words=${words,,}
  elif [[ -z $value && $word == -* ]]; then
    words=$(sed -nE 's/^  (-[a-z],)?(--[a-z-]+).*/\2/p' <<<"$help")
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o default -F _fourtap fourtap
