# Completion of moxsubscribe for bash. Paths of the store are asked from the program itself.

_moxsubscribe_store_paths() {
    local query=$1 model=${2:-bundle} path
    while IFS= read -r path; do
        [[ $path == "$HOME/Applications/"* ]] && path=${path#"$HOME/Applications/"}
        [[ $path == "$cur"* ]] && COMPREPLY+=("$(printf '%q' "$path")")
    done < <(
        if [[ $query == folders ]]; then
            moxsubscribe --model "$model" folders 2>/dev/null
        else
            moxsubscribe --model "$model" list --recursive 2>/dev/null
        fi
    )
}

_moxsubscribe() {
    local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command= model= index word options=
    local commands="subscribe import list folders show check move remove remove-all create-folder rename-folder
        remove-folder upgrade watch open"
    COMPREPLY=()

    for ((index = 1; index < COMP_CWORD; ++index)); do
        word=${COMP_WORDS[index]}
        if [[ $word == --model ]]; then
            ((++index))
            model=${COMP_WORDS[index]}
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

complete -F _moxsubscribe moxsubscribe
