# bash completion for devprep

# Offers what the tool knows of a kind, in the registry that the command line names.
_devprep_offer() {
  local text about
  while IFS=$'\t' read -r text about; do
    [[ ${text,,} == "${cur,,}"* ]] && offers+=("$text"$'\t'"$about")
  done < <("${COMP_WORDS[0]}" "${registry[@]}" complete "$@" 2>/dev/null)
}

# The columns of a listing, behind those that are there already.
_devprep_columns() {
  local before=
  [[ $cur != +* ]] || before=+
  [[ $cur != *,* ]] || before=${cur%,*},
  compopt -o nospace
  COMPREPLY=($(compgen -P "$before" -W "$("${COMP_WORDS[0]}" "$1" --help 2>/dev/null |
    sed -n '/^Columns for -o/,$s/^  \([a-z_]*\) .*/\1/p')" -- "${cur#"$before"}"))
}

_devprep() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local i place command sub options=
  local -a words=() offers=() registry=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --registry) registry=(--registry "${COMP_WORDS[++i]}") ;;
      --hardware | --timeout | --accept | --save | --plan | --level | --format | --metrics | --picture | -o | --columns)
        # Of picture it takes no value.
        [[ ${COMP_WORDS[i]} == --plan && ${words[0]} == picture ]] || ((++i)) ;;
      -*) ;;
      *) words+=("${COMP_WORDS[i]}") ;;
    esac
  done
  command=${words[0]} sub=${words[1]} place=${#words[@]}
  case $prev in
    --timeout | --level) COMPREPLY=(); return ;;
    --registry | --save | --metrics) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
    --hardware) compopt -o filenames; COMPREPLY=($(compgen -f -W 'live iscsi://' -- "$cur")); return ;;
    --accept)
      local before=
      [[ $cur != *,* ]] || before=${cur%,*},
      compopt -o nospace
      COMPREPLY=($(compgen -P "$before" -W 'nothing-found mass-loss silent merged crossed split twins same-identity replaced misplaced' -- "${cur#"$before"}"))
      return ;;
    --format) COMPREPLY=($(compgen -W '4 5' -- "$cur")); return ;;
    -o | --columns) _devprep_columns "$command"; return ;;
    --plan) [[ $command == picture ]] || { compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return; } ;;
  esac
  case $command in
    '') options='plan configure check devices tree picture hardware library capture estate reserve release disable enable set groups group raids raid history diff undo registry --registry --hardware --timeout --no-modules --version --help' ;;
    plan)
      [[ $prev != --why ]] || _devprep_offer devices
      options='--json --follow-identity --accept --save --why --columns --wide --no-headings --help' ;;
    configure) options='--json --follow-identity --accept --yes --plan --dry-run --columns --wide --no-headings --help' ;;
    history) options='--json --columns --wide --no-headings --help' ;;
    diff) ((place > 2)) || _devprep_offer changes; options='--text --json --columns --wide --no-headings --help' ;;
    undo) ((place > 1)) || _devprep_offer changes; options='--json --yes --dry-run --hardware-differs --help' ;;
    check) options='--json --metrics --help' ;;
    devices | groups | raids)
      ((place > 1)) || _devprep_offer "$command"
      options='--json --columns --wide --no-headings --help' ;;
    tree) options='--json --columns --wide --no-headings --help' ;;
    hardware) options='--tree --json --columns --wide --no-headings --help' ;;
    estate) compopt -o filenames; COMPREPLY=($(compgen -f -W '--json --columns --wide --no-headings --picture --force --help' -- "$cur")); return ;;
    library)
      ((place > 1)) || _devprep_offer changers
      options='--slots --json --columns --wide --no-headings --help' ;;
    picture) compopt -o filenames; COMPREPLY=($(compgen -f -W '--plan --follow-identity --force --help' -- "$cur")); return ;;
    capture) compopt -o filenames; COMPREPLY=($(compgen -f -W '--with-registry --redact --force --help' -- "$cur")); return ;;
    reserve | release)
      _devprep_offer $( ((place > 1)) && echo drives || echo changers)
      options='--force --json --yes --dry-run --help'
      [[ $command == release ]] || options+=' --from-library' ;;
    disable | enable) _devprep_offer drives; options='--json --yes --dry-run --help' ;;
    set)
      options='--json --yes --dry-run --help'
      if ((place == 1)); then
        _devprep_offer devices
      elif [[ $cur != -* ]]; then
        compopt -o nospace
        options='cleaning_tape_slot= default_block_factor= read_shots= write_shots= bar_codes= bar_code_to_blank= auto_cleaning_time='
      fi ;;
    group)
      case $sub in
        '') options='create delete rename add remove --help' ;;
        create)
          options='--force --json --yes --dry-run --help'
          ((place != 3)) || options+=' tape changer raid_changer'
          ((place < 4)) || _devprep_offer devices ;;
        *)
          options='--json --yes --dry-run --help'
          [[ $sub != delete && $sub != add ]] || options+=' --force'
          ((place > 2)) || _devprep_offer groups
          [[ $sub != add && $sub != remove ]] || ((place == 2)) || _devprep_offer devices ;;
      esac ;;
    raid)
      [[ -z $sub || $sub == create ]] || ((place > 2)) || _devprep_offer raids
      case $sub in
        '') options='create remove assign release level link --help' ;;
        *)
          options='--json --yes --dry-run --help'
          [[ $sub == remove ]] || options+=' --force' ;;&
        create) options+=' --level' ;;
        assign | release)
          ((place != 3)) || _devprep_offer devices
          [[ $sub == release ]] || options+=' --strict' ;;
      esac ;;
    registry)
      case $sub in
        '') options='show import export --help' ;;
        import) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
        export) compopt -o filenames; COMPREPLY=($(compgen -f -W '--format --force --help' -- "$cur")); return ;;
        show)
          # Backslashes stand alone in quotes, and doubled outside.
          local quoted=$cur
          case $cur in
            [\'\"]*) cur=${cur#?} ;;
            *) cur=${cur//'\\'/'\'} ;;
          esac
          compopt -o nospace -o filenames
          _devprep_offer keys "$cur"
          COMPREPLY=("${offers[@]%%$'\t'*}")
          [[ $quoted != -* ]] || COMPREPLY=(--help)
          return ;;
        *) options='--help' ;;
      esac ;;
  esac
  COMPREPLY=()
  [[ $cur != -* && ${#offers[@]} != 0 ]] || COMPREPLY=($(compgen -W "$options" -- "$cur"))
  # What they are is shown beside those of which one is to be chosen, and not where they are inserted:
  # one alone, or all in turn (37) or together (42).
  if ((${#offers[@]} > 1)) && [[ $COMP_TYPE != 37 && $COMP_TYPE != 42 ]]; then
    COMPREPLY+=("${offers[@]/$'\t'/  }")
  else
    COMPREPLY+=("${offers[@]%%$'\t'*}")
  fi
}
complete -F _devprep devprep
