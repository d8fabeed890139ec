# Completion of fourtap's arguments, for bash.
_fourtap() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  # --option=value comes as three words.
  [[ $word == = ]] && word=
  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}
  local words=
  case $previous in
    --alpha) words='multiply drop straight premultiplied' ;;
    --format) words='png jpeg pnm bmp' ;;
    --progress) words='text json' ;;
    --set) words='mmx sse2 avx2 avx512' ;;
    --size | --rect | --quality | --raw | --threads | --progressive | --max-pixels) return ;;
    *)
      [[ $word == -* ]] && words='--size --rect --one-step --out --format --alpha --quality --raw --threads
        --progressive --set --max-pixels --force --progress --quiet --verbose --info --selftest --help --version'
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o default -F _fourtap fourtap
