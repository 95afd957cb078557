# Completion of nvqscan's command line for bash.

# Sets, for command $1: its `commands`, its `options`, what each of its `places` takes, and what option
# $2 `takes`. The first word is the kind: none, words, list (words with commas between), file or
# device; values that are known follow.
# BEGIN options, made by scripts/check-options --fix
_nvqscan_table() {
    commands='' options='' places=() takes=''
    case $1 in
        '')
            commands='scan options devices install uninstall find properties buttons press log process sample profile help'
            options='--version -h --help'
            ;;
        'scan')
            options='--source --resolution --exact --area --paper --preview --mode --palette'
            options+=' --brightness --contrast --threshold --mirror --rotate --sharpen --smooth'
            options+=' --streaks --streak-detail --set --auto -o --output --format --compression'
            options+=' --quality --title --histogram --curves --medium --dry-run --pages --start'
            options+=' --force --batch -q --quiet --json -h --help'
            places=('device')
            case $2 in
                --source) takes='words flatbed feeder duplex slide negative' ;;
                --resolution | --area | --brightness | --contrast | --threshold | \
                    --sharpen | --set | --quality | --title | --pages | --start) takes='none' ;;
                --paper) takes='words a3 a4 a5 a6 b4 b5 b6 letter legal executive statement tabloid' ;;
                --mode) takes='words color gray lineart dither indexed' ;;
                --palette) takes='file system cube gray adaptive' ;;
                --rotate) takes='words 90 180 270' ;;
                --smooth) takes='words off light strong' ;;
                --streaks) takes='words off 1 2' ;;
                --streak-detail) takes='words red green blue' ;;
                --auto) takes='list tone color expose' ;;
                -o | --output | --histogram | --curves) takes='file' ;;
                --format) takes='words png tiff jpeg pdf bmp pnm' ;;
                --compression) takes='words none lzw deflate g4 jpeg' ;;
                --medium) takes='words callback file' ;;
            esac
            ;;
        'options')
            options='--json -h --help'
            places=('device')
            ;;
        'devices')
            options='--json --names -h --help'
            ;;
        'install')
            options='--name --vendor --sane --samples --port --force --model --driver --toolkit'
            options+=' --toolkit-class --io --network-id --model-string --events --sub-type'
            options+=' --instant-lamp -h --help'
            case $2 in
                --name | --vendor | --sane | --toolkit-class | --network-id | \
                    --model-string) takes='none' ;;
                --samples) takes='words auto light display' ;;
                --port | --driver | --toolkit) takes='file' ;;
                --model) takes='words SIM300A SIM100F SIM200S SIM500D' ;;
                --io) takes='words usb parallel scsi dot4 network' ;;
                --events) takes='words pipe poll none' ;;
                --sub-type) takes='words index signal mask value' ;;
            esac
            ;;
        'uninstall')
            options='-h --help'
            places=('device')
            ;;
        'find')
            options='--json --local -h --help'
            ;;
        'properties')
            options='--set --all --one-by-one --json -h --help'
            places=('device')
            case $2 in
                --set) takes='none' ;;
            esac
            ;;
        'buttons')
            options='--exec --count -h --help'
            places=('device')
            case $2 in
                --exec | --count) takes='none' ;;
            esac
            ;;
        'press')
            options='-h --help'
            places=('words 1 2 3 4' 'device')
            ;;
        'log')
            options='--level --file --to -h --help'
            places=('words on off show')
            case $2 in
                --level) takes='words errors information calls dumps other' ;;
                --file) takes='file' ;;
                --to) takes='words file debugger sink' ;;
            esac
            ;;
        'process')
            options='--mirror --rotate --mode --palette --property --set --sharpen --smooth'
            options+=' --streaks --streak-detail --auto -o --output --format --compression'
            options+=' --quality --title --page --histogram --curves --from-file --analyse'
            options+=' --encoded --band --list-attributes --list-properties -h --help'
            places=('file')
            case $2 in
                --rotate) takes='words 90 180 270' ;;
                --mode) takes='words color gray lineart dither indexed' ;;
                --palette) takes='file system cube gray adaptive' ;;
                --property | --set | --sharpen | --quality | --title | --page | --band) takes='none' ;;
                --smooth) takes='words off light strong' ;;
                --streaks) takes='words off 1 2' ;;
                --streak-detail) takes='words red green blue' ;;
                --auto) takes='list tone color expose' ;;
                -o | --output | --histogram | --curves) takes='file' ;;
                --format) takes='words png tiff jpeg pdf bmp pnm' ;;
                --compression) takes='words none lzw deflate g4 jpeg' ;;
            esac
            ;;
        'sample')
            options='-o --output --format --compression --quality --title --width --height --dpi'
            options+=' --gray --encoded -h --help'
            case $2 in
                -o | --output) takes='file' ;;
                --format) takes='words png tiff jpeg pdf bmp pnm' ;;
                --compression) takes='words none lzw deflate g4 jpeg' ;;
                --quality | --title | --width | --height | --dpi) takes='none' ;;
            esac
            ;;
        'profile')
            commands='pack unpack show check'
            options='-h --help'
            ;;
        'profile pack')
            options='-o --output -h --help'
            places=('file')
            case $2 in
                -o | --output) takes='file' ;;
            esac
            ;;
        'profile unpack')
            options='-o --output --builtin -h --help'
            places=('file')
            case $2 in
                -o | --output) takes='file' ;;
            esac
            ;;
        'profile show')
            options='--builtin -h --help'
            places=('file')
            ;;
        'profile check')
            options='--builtin -h --help'
            places=('file')
            ;;
        'help')
            options='-h --help'
            places=('words scan options devices install uninstall find properties buttons press log process sample profile help')
            ;;
    esac
}
# END options

_nvqscan() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    # "--option=value" comes as three words.
    if [ "$cur" = = ]; then
        cur=''
    elif [ "$prev" = = ]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    local command='' place=0 skip='' word i
    local commands options places takes
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        [ "$word" = = ] && continue
        if [ -n "$skip" ]; then
            skip=''
            continue
        fi
        _nvqscan_table "$command" "$word"
        if [[ $word == -* ]]; then
            skip=$takes
        elif [[ " $commands " == *" $word "* ]]; then
            command+=${command:+ }$word
        else
            ((++place))
        fi
    done
    COMPREPLY=()
    _nvqscan_table "$command" "$prev"
    if [[ $prev == *[\<\>] ]]; then
        _nvqscan_value file
    elif [ -n "$takes" ]; then
        _nvqscan_value "$takes"
    elif [[ $cur == -* ]]; then
        _nvqscan_value "words $options"
    elif [ -n "$commands" ]; then
        _nvqscan_value "words $commands"
    else
        _nvqscan_value "${places[place]}"
    fi
}

# Completes `cur` by what it takes.
_nvqscan_value() {
    local kind=${1%% *} value
    local values=${1#"$kind"} before=''
    [[ $kind == list && $cur == *,* ]] && before=${cur%,*},
    while IFS= read -r value; do
        COMPREPLY+=("$before$value")
    done < <(compgen -W "$values" -- "${cur#"$before"}")
    case $kind in
        file)
            compopt -o filenames 2>/dev/null
            while IFS= read -r value; do
                COMPREPLY+=("$value")
            done < <(compgen -f -- "$cur")
            ;;
        device)
            # Names have blanks in them.
            while IFS= read -r value; do
                [[ $value == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$value")")
            done < <("${COMP_WORDS[0]}" devices --names 2>/dev/null)
            ;;
    esac
}

complete -F _nvqscan nvqscan
