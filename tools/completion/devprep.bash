# bash completion for devprep
_devprep() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local i command= sub= options
  case $prev in
    --timeout) COMPREPLY=(); return ;;
    --registry | --hardware) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
  esac
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --registry | --hardware | --timeout) ((i++)) ;;
      -*) ;;
      *) if [[ -z $command ]]; then command=${COMP_WORDS[i]}; elif [[ -z $sub ]]; then sub=${COMP_WORDS[i]}; fi ;;
    esac
  done
  case $command in
    '') options='plan configure check devices tree picture hardware library capture reserve release disable enable set groups group raids raid history diff undo registry --registry --hardware --timeout --no-modules --version --help' ;;
    plan | configure)
      case $prev in
        --accept) COMPREPLY=($(compgen -W 'nothing-found mass-loss silent merged crossed split twins same-identity replaced misplaced' -- "$cur")); return ;;
        --save | --plan) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
      esac
      options='--json --follow-identity --accept --save --why --help'
      [[ $command == plan ]] || options='--json --follow-identity --accept --yes --plan --dry-run --help' ;;
    history) options='--json --columns --wide --no-headings --help' ;;
    diff) options='--text --json --help' ;;
    undo) options='--json --yes --dry-run --hardware-differs --help' ;;
    check)
      if [[ $prev == --metrics ]]; then compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return; fi
      options='--json --metrics --help' ;;
    devices | tree | groups | raids) options='--json --columns --wide --no-headings --help' ;;
    hardware) options='--tree --json --columns --wide --no-headings --help' ;;
    library) options='--slots --json --columns --wide --no-headings --help' ;;
    picture) compopt -o filenames; COMPREPLY=($(compgen -f -W '--plan --follow-identity --force --help' -- "$cur")); return ;;
    capture) compopt -o filenames; COMPREPLY=($(compgen -f -W '--redact --force --help' -- "$cur")); return ;;
    reserve) options='--from-library --force --json --yes --dry-run --help' ;;
    release) options='--force --json --yes --dry-run --help' ;;
    disable | enable) options='--json --yes --dry-run --help' ;;
    set)
      options='--json --yes --dry-run --help'
      if [[ $cur != -* && -n $sub && $cur != "$sub" ]]; then
        compopt -o nospace
        options='cleaning_tape_slot= default_block_factor= read_shots= write_shots= bar_codes= bar_code_to_blank= auto_cleaning_time='
      fi ;;
    group)
      case $sub in
        '') options='create delete rename add remove --help' ;;
        create) options='tape changer raid_changer --force --json --yes --dry-run --help' ;;
        delete | add) options='--force --json --yes --dry-run --help' ;;
        *) options='--json --yes --dry-run --help' ;;
      esac ;;
    raid)
      case $sub in
        '') options='create remove assign release level link --help' ;;
        create) options='--level --force --help' ;;
        assign) options='--strict --force --help' ;;
        release | level | link) options='--force --help' ;;
        *) options='--help' ;;
      esac ;;
    registry)
      case $sub in
        '') options='show import export --help' ;;
        import) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
        export) compopt -o filenames; COMPREPLY=($(compgen -f -W '--format --force --help' -- "$cur")); return ;;
        *) options='--help' ;;
      esac ;;
  esac
  COMPREPLY=($(compgen -W "$options" -- "$cur"))
}
complete -F _devprep devprep
