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
<<<<<<< HEAD
    '') options='plan configure check devices tree hardware capture raids raid history diff undo registry --registry --hardware --timeout --no-modules --version --help' ;;
=======
    '') options='plan configure check devices tree hardware library capture raids raid registry --registry --hardware --timeout --no-modules --version --help' ;;
>>>>>>> 3218b85 (devprep library: which drive is in which element; node names and whole serial numbers)
    plan | configure)
      case $prev in
        --accept) COMPREPLY=($(compgen -W 'nothing-found mass-loss silent merged crossed split twins same-identity replaced' -- "$cur")); return ;;
        --save | --plan) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
      esac
      options='--json --follow-identity --accept --save --why --help'
      [[ $command == plan ]] || options='--json --follow-identity --accept --yes --plan --dry-run --help' ;;
    history) options='--json --columns --wide --no-headings --help' ;;
    diff) options='--text --json --help' ;;
    undo) options='--json --yes --dry-run --hardware-differs --help' ;;
    check) options='--json --help' ;;
    devices | tree | raids) options='--json --columns --wide --no-headings --help' ;;
    hardware) options='--tree --json --columns --wide --no-headings --help' ;;
    library) options='--slots --json --columns --wide --no-headings --help' ;;
    capture) compopt -o filenames; COMPREPLY=($(compgen -f -W '--redact --force --help' -- "$cur")); return ;;
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
        export) compopt -o filenames; COMPREPLY=($(compgen -f -W '--force --help' -- "$cur")); return ;;
        *) options='--help' ;;
      esac ;;
  esac
  COMPREPLY=($(compgen -W "$options" -- "$cur"))
}
complete -F _devprep devprep
