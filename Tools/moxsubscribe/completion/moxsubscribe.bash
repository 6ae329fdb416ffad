# Completion of moxsubscribe for bash. Paths of the store are asked from the program itself.

# Offers the paths that begin with the current word, escaped as that is quoted: a server that chose a name must not
# have it run as a command.
_moxsubscribe_store_paths() {
    local query=$1 model=${2:-bundle} path escaped
    while IFS= read -r path; do
        [[ $path == "$HOME/Applications/"* ]] && path=${path#"$HOME/Applications/"}
        case $cur in
            \"*)
                escaped=${path//\\/\\\\} escaped=${escaped//\"/\\\"}
                escaped=${escaped//\$/\\\$} escaped=${escaped//\`/\\\`}
                ;;
            \'*) escaped=${path//\'/\'\\\'\'} ;;
            *) printf -v escaped '%q' "$path" ;;
        esac
        [[ $escaped == "${cur#[\"\']}"* ]] && COMPREPLY+=("$escaped")
    done < <(
        if [[ $query == folders ]]; then
            moxsubscribe --model "$model" folders 2>/dev/null
        else
            moxsubscribe --model "$model" list --recursive 2>/dev/null
        fi
    )
}

_moxsubscribe_replies() {
    local commands="subscribe import list folders show check move remove remove-all create-folder rename-folder
        remove-folder upgrade watch open"
    local command= model= index word options=

    for ((index = 1; index < first; ++index)); do
        word=${COMP_WORDS[index]}
        if [[ $word == --model ]]; then
            [[ ${COMP_WORDS[++index]} == = ]] && ((++index))
            model=${COMP_WORDS[index]}
        elif [[ $word == --model=* ]]; then
            model=${word#*=}
        elif [[ $word != -* && -z $command ]]; then
            command=$word
        fi
    done

    case $previous in
        --model) COMPREPLY=($(compgen -W "dictionary bundle" -- "$cur")); return ;;
        --type) COMPREPLY=($(compgen -W "application desktop" -- "$cur")); return ;;
        --gateway) COMPREPLY=($(compgen -W "standard advanced enterprise none" -- "$cur")); return ;;
        --auth) COMPREPLY=($(compgen -W "none domain rsa domainandrsa sms" -- "$cur")); return ;;
        --icon) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")); return ;;
        --icons) compopt -o filenames; COMPREPLY=($(compgen -d -- "$cur")); return ;;
        --folder) _moxsubscribe_store_paths folders "$model"; return ;;
        --resource | --file-name | --store | --internal-url | --external-url | --description | --launch-url | \
            --publisher | --content-address | --file-type | --url | --store-name) return ;;
    esac

    case $command in
        "") options="--model --help --version $commands" ;;
        subscribe) options="--resource --type --file-name --folder --store --internal-url --external-url --gateway
            --auth --icon --description --launch-url --publisher --content-address --file-type" ;;
        import) options="--url --icons --folder --json" ;;
        list) options="--recursive --json" ;;
        folders) options="--json" ;;
        show) options="--json" ;;
        check) options="" ;;
        move) options="" ;;
        remove) options="" ;;
        remove-all) options="--resource --store --json" ;;
        create-folder) options="" ;;
        rename-folder) options="" ;;
        remove-folder) options="--only-if-empty" ;;
        upgrade) options="--store-name --icon --json" ;;
        watch) options="" ;;
        open) options="" ;;
    esac

    if [[ -z $command || $cur == -* ]]; then
        [[ -n $command ]] && options+=" --model --help"
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi
    case $command in
        import) compopt -o filenames; COMPREPLY=($(compgen -f -- "$cur")) ;;
        list | create-folder | rename-folder | remove-folder) _moxsubscribe_store_paths folders "$model" ;;
        show | check | move | remove | upgrade | open) _moxsubscribe_store_paths list "$model" ;;
    esac
}

_moxsubscribe() {
    local last=${COMP_WORDS[COMP_CWORD]} first=$COMP_CWORD typed=${COMP_LINE:0:COMP_POINT}
    local cur=$last previous given index
    # The shell takes words apart at ":" and "=", and puts a reply in the place of the last piece alone.
    while ((first > 1)) && [[ $cur == [:=]* || ${COMP_WORDS[first - 1]} == *[:=] ]] &&
        [[ $typed == *"${COMP_WORDS[first - 1]}$cur" ]]; do
        ((--first))
        cur=${COMP_WORDS[first]}$cur
    done
    if [[ $last == [:=] ]]; then given=$cur; else given=${cur%"$last"}; fi
    previous=${COMP_WORDS[first - 1]}
    if [[ $cur == --*=* ]]; then
        previous=${cur%%=*}
        cur=${cur#*=}
        given=${given#"$previous="}
    fi
    COMPREPLY=()
    _moxsubscribe_replies
    for index in "${!COMPREPLY[@]}"; do
        COMPREPLY[index]=${COMPREPLY[index]#"$given"}
    done
}

complete -F _moxsubscribe moxsubscribe
