# Completion of nvqscan's command line for bash.

_nvqscan() {
    local cur prev words cword
    _init_completion -n = 2>/dev/null || {
        cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
        words=("${COMP_WORDS[@]}") cword=$COMP_CWORD
    }

    local commands='scan devices install uninstall properties buttons press log process sample profile'
    local command='' i
    for ((i = 1; i < cword; ++i)); do
        case ${words[i]} in
            -*) ;;
            *)
                command=${words[i]}
                break
                ;;
        esac
    done
    if [ -z "$command" ]; then
        _nvqscan_words "$commands --help --version"
        return
    fi

    case $prev in
        --source) _nvqscan_words 'flatbed feeder duplex slide negative' && return ;;
        --mode) _nvqscan_words 'color gray lineart dither indexed' && return ;;
        --palette)
            _nvqscan_words 'system cube gray adaptive'
            _nvqscan_files
            return
            ;;
        --sharpen) _nvqscan_words '0 1 2 3 4 5' && return ;;
        --smooth) _nvqscan_words 'off light strong' && return ;;
        --streaks) _nvqscan_words 'off 1 2' && return ;;
        --streak-detail) _nvqscan_words 'red green blue' && return ;;
        --auto) _nvqscan_words 'tone color expose' && return ;;
        --medium) _nvqscan_words 'callback file' && return ;;
        --rotate) _nvqscan_words '90 180 270' && return ;;
        --resolution) _nvqscan_words '75 100 150 200 300 400 600 1200 2400 4800' && return ;;
        --level) _nvqscan_words 'errors information calls dumps other' && return ;;
        --to) _nvqscan_words 'file debugger sink' && return ;;
        --io) _nvqscan_words 'usb parallel scsi dot4 network' && return ;;
        --events) _nvqscan_words 'pipe poll none' && return ;;
        --sub-type) _nvqscan_words 'index signal mask value' && return ;;
        --model) _nvqscan_words 'SIM300A SIM100F SIM200S SIM500D' && return ;;
        -o | --output | --histogram | --curves | --file | --port | --driver | --toolkit)
            _nvqscan_files
            return
            ;;
        --area | --brightness | --contrast | --threshold | --set | --pages | --count | --exec | \
            --name | --vendor | --toolkit-class | --network-id | --model-string | --property | \
            --band | --width | --height | --dpi)
            return
            ;;
    esac

    local options='--help'
    case $command in
        scan)
            options+=' --output --source --mode --palette --resolution --area --brightness --contrast'
            options+=' --threshold --mirror --rotate --sharpen --smooth --streaks --streak-detail --auto'
            options+=' --histogram --curves --set --medium --pages --quiet'
            ;;
        devices) options+=' --json --names' ;;
        install)
            options+=' --name --vendor --port --model --driver --toolkit --toolkit-class --io'
            options+=' --network-id --model-string --events --sub-type --instant-lamp'
            ;;
        properties) options+=' --set --one-by-one --json' ;;
        buttons) options+=' --exec --count' ;;
        log) options+=' --level --file --to' ;;
        process)
            options+=' --output --mirror --rotate --property --set --from-file --analyse --encoded --band'
            options+=' --sharpen --smooth --streaks --streak-detail --auto --histogram --curves'
            options+=' --list-attributes --list-properties'
            ;;
        sample) options+=' --output --width --height --dpi --gray --encoded' ;;
        profile) options+=' --output --builtin' ;;
    esac
    if [[ $cur == -* ]]; then
        _nvqscan_words "$options"
        return
    fi
    case $command in
        scan | uninstall | properties | buttons) _nvqscan_devices ;;
        press) [ "$prev" = press ] && _nvqscan_words '1 2 3 4' || _nvqscan_devices ;;
        log) _nvqscan_words 'on off show' ;;
        profile) [ "$prev" = profile ] && _nvqscan_words 'pack unpack show check' || _nvqscan_files ;;
        process) _nvqscan_files ;;
    esac
}

_nvqscan_words() {
    COMPREPLY=($(compgen -W "$1" -- "$cur"))
}

_nvqscan_files() {
    compopt -o filenames 2>/dev/null
    COMPREPLY=()
    local file
    while IFS= read -r file; do
        COMPREPLY+=("$file")
    done < <(compgen -f -- "$cur")
}

# Names have blanks in them.
_nvqscan_devices() {
    COMPREPLY=()
    local name
    while IFS= read -r name; do
        [[ $name == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$name")")
    done < <("${words[0]}" devices --names 2>/dev/null)
}

complete -F _nvqscan nvqscan
