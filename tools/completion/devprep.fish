# fish completion for devprep

# The words of the command line before the cursor that are neither options nor their values.
function __devprep_words
    set -l words
    set -l skip no
    for token in (commandline -opc)[2..-1]
        if test $skip = yes
            set skip no
            continue
        end
        switch $token
            case --plan
                # Of picture it takes no value.
                contains -- picture $words; or set skip yes
            case --registry --hardware --timeout --accept --save --metrics --picture --level --format -o --columns
                set skip yes
            case '-*'
            case '*'
                set -a words $token
        end
    end
    string join \n -- $words
end

# Whether the command line begins with one of these commands: "devices", "raid assign" and so on.
function __devprep_in
    set -l words (__devprep_words)
    contains -- "$words[1]" $argv; or contains -- "$words[1] $words[2]" $argv
end

# The same, with so many words before the cursor.
function __devprep_at
    test (count (__devprep_words)) = $argv[1]; and __devprep_in $argv[2..-1]
end

# The same, with so many words or more.
function __devprep_from
    test (count (__devprep_words)) -ge $argv[1]; and __devprep_in $argv[2..-1]
end

# What the tool knows of a kind, in the registry that the command line names.
function __devprep_offer
    set -l tokens (commandline -opc)
    set -l registry
    if set -l at (contains -i -- --registry $tokens); and test $at -lt (count $tokens)
        set registry --registry $tokens[(math $at + 1)]
    end
    $tokens[1] $registry complete $argv 2>/dev/null
end

# Behind what is there of a list already.
function __devprep_list
    set -l before (string match -r '^(?:.*,|\+)' -- (commandline -ct))
    while read -l line
        echo -- $before$line
    end
end

function __devprep_columns
    set -l tool (commandline -opc)[1]
    set -l words (__devprep_words)
    $tool $words[1] --help 2>/dev/null |
        sed -n '/^Columns for -o/,$s/^  \([a-z_]*\)  *\(.*\)/\1\t\2/p' | __devprep_list
end

complete -c devprep -f
complete -c devprep -s h -l help -d 'Print help'
complete -c devprep -l version -d 'Print the version'
complete -c devprep -l registry -rF -d 'Registry file'
complete -c devprep -l hardware -rF -a 'live iscsi://' -d 'Where the hardware is'
complete -c devprep -l timeout -x -d 'Time limit for each request to a device'
complete -c devprep -l no-modules -d 'Leave out the library manager modules'

for line in 'plan/Show what configure would do' 'configure/Rebuild the configuration from the devices attached now' \
    'check/Tell what is not as it is configured' 'devices/List the configured devices' \
    'tree/Show the configured machine as a tree' 'picture/Draw the machine' \
    'hardware/Show what is attached now' 'estate/Compare many machines' 'library/Show which drive is where in the tape libraries' \
    'capture/Write the attached machine to a file' 'reserve/Reserve drives to a changer' \
    'release/Release reserved drives of a changer' 'disable/Disable reserved drives' \
    'enable/Enable reserved drives' 'set/Set or take away settings of a device' \
    'groups/List the device groups' 'group/Create, edit and delete device groups' \
    'raids/List the tape RAIDs' 'raid/Create, edit and remove tape RAIDs' \
    'history/List what has changed the registry' 'diff/Show what a change did' 'undo/Take changes back' \
    'registry/Show, import and export the registry'
    set -l parts (string split / $line)
    complete -c devprep -n 'test (count (__devprep_words)) = 0' -a $parts[1] -d $parts[2]
end
complete -c devprep -n '__devprep_at 1 group' -a 'create delete rename add remove'
complete -c devprep -n '__devprep_at 1 raid' -a 'create remove assign release level link'
complete -c devprep -n '__devprep_at 1 registry' -a 'show import export'

complete -c devprep -n '__devprep_at 1 devices set; or __devprep_from 3 "group add" "group remove"
    or __devprep_from 4 "group create"; or __devprep_at 3 "raid assign" "raid release"' -ka '(__devprep_offer devices)'
complete -c devprep -n '__devprep_at 1 library reserve release' -ka '(__devprep_offer changers)'
complete -c devprep -n '__devprep_from 2 reserve release; or __devprep_in disable enable' \
    -ka '(__devprep_offer drives)'
complete -c devprep -n '__devprep_at 1 groups
    or __devprep_at 2 "group delete" "group rename" "group add" "group remove"' -ka '(__devprep_offer groups)'
complete -c devprep -n '__devprep_at 1 raids
    or __devprep_at 2 "raid remove" "raid assign" "raid release" "raid level" "raid link"' \
    -ka '(__devprep_offer raids)'
complete -c devprep -n '__devprep_at 1 diff undo; or __devprep_at 2 diff' -ka '(__devprep_offer changes)'
complete -c devprep -n '__devprep_at 2 "registry show"' \
    -a '(__devprep_offer keys (commandline -ct | string unescape))'
complete -c devprep -n '__devprep_at 3 "group create"' -a 'tape changer raid_changer'
complete -c devprep -n '__devprep_from 2 set' -a 'cleaning_tape_slot= default_block_factor= read_shots=
    write_shots= bar_codes= bar_code_to_blank= auto_cleaning_time='
complete -c devprep -n '__devprep_in picture capture "registry import" "registry export"' -F

set -l listings plan configure diff devices tree groups raids hardware library estate history
set -l edits reserve release disable enable set undo '"group create"' '"group delete"' '"group rename"' \
    '"group add"' '"group remove"' '"raid create"' '"raid remove"' '"raid assign"' '"raid release"' \
    '"raid level"' '"raid link"'
complete -c devprep -n "__devprep_in check $listings $edits" -l json -d 'Print JSON'
complete -c devprep -n '__devprep_in check' -l metrics -rF -d 'Write metrics for Prometheus'
complete -c devprep -n "__devprep_in $listings" -s o -l columns -x -a '(__devprep_columns)' -d 'Show these columns'
complete -c devprep -n "__devprep_in $listings" -l wide -d 'Full width on a terminal'
complete -c devprep -n "__devprep_in $listings" -l no-headings -d 'Print no headings'
complete -c devprep -n "__devprep_in configure $edits" -l yes -d 'Do not ask'
complete -c devprep -n "__devprep_in configure $edits" -l dry-run -d 'Show what would change'
complete -c devprep -n '__devprep_in reserve release "group create" "group delete" "group add" "raid create" "raid assign" "raid release" "raid level" "raid link"' \
    -l force -d 'Do it where the tape engine may not be able to use it'
complete -c devprep -n '__devprep_in picture capture estate "registry export"' -l force -d 'Replace whatever file is there'
complete -c devprep -n '__devprep_in plan configure picture' -l follow-identity \
    -d 'Keep settings with their devices by serial number and World Wide ID'
complete -c devprep -n '__devprep_in plan configure' -l accept -x -d 'Go on in spite of these dangers' \
    -a '(printf "%s\n" nothing-found mass-loss silent merged crossed split twins same-identity replaced misplaced |
        __devprep_list)'
complete -c devprep -n '__devprep_in plan' -l save -rF -d 'Write the plan'
complete -c devprep -n '__devprep_in plan' -l why -x -ka '(__devprep_offer devices)' -d 'Show the criteria'
complete -c devprep -n '__devprep_in configure' -l plan -rF -d 'Apply this plan'
complete -c devprep -n '__devprep_in picture' -l plan -d 'Draw what configure would do'
complete -c devprep -n '__devprep_in hardware' -l tree -d 'Show a tree'
complete -c devprep -n '__devprep_in estate' -l picture -rF -d 'Draw drives and changers against machines'
complete -c devprep -n '__devprep_in library' -l slots -d 'Show each slot'
complete -c devprep -n '__devprep_in capture' -l with-registry -d 'Write the registry to the same file'
complete -c devprep -n '__devprep_in capture' -l redact -d 'Replace serial numbers, World Wide IDs and volume tags'
complete -c devprep -n '__devprep_in reserve' -l from-library -d 'Reserve the drives that the library has'
complete -c devprep -n '__devprep_in diff' -l text -d 'Show the text, line by line'
complete -c devprep -n '__devprep_in undo' -l hardware-differs \
    -d 'Tell what is not attached as it is configured then'
complete -c devprep -n '__devprep_in "raid create"' -l level -x -d 'RAID level'
complete -c devprep -n '__devprep_in "raid assign"' -l strict -d "Only a device of the model of the first member"
complete -c devprep -n '__devprep_in "registry export"' -l format -x -a '4 5' -d "The editor's format"
