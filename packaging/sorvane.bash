# bash completion for sorvane
_sorvane()
{
    local cur prev words cword
    _init_completion -n = || return
    local settings='--set --norm --params' command=${words[1]-}
    case $prev in
        --set | --norm)
            if [[ $cur != *=* ]]; then
                compopt -o nospace
                mapfile -t COMPREPLY < <(compgen -S = -W "$(sorvane params 2>/dev/null | awk 'NR > 1 { print $1 }')" -- "$cur")
            fi
            return
            ;;
        --params | --report)
            _filedir json
            return
            ;;
        --state)
            _filedir '@(sor|bnk)'
            return
            ;;
        --csv | --png)
            _filedir "${prev#--}"
            return
            ;;
        --format)
            mapfile -t COMPREPLY < <(compgen -W 'KEEP float double pcm16 pcm24' -- "$cur")
            return
            ;;
        --case)
            mapfile -t COMPREPLY < <(compgen -W 'default linear8192 oversample oversample-hq minimum minimum192 heavy mono
                bypass silence' -- "$cur")
            return
            ;;
        --sidechain)
            _filedir
            return
            ;;
    esac
    local choices
    case $command in
        render) choices="$settings --state --sidechain --block --float --double --raw --format --report" ;;
        params) choices='--json --state' ;;
        response) choices="$settings --rate --points --channel --csv --png" ;;
        bench) choices="$settings --case --seconds --block --rate --instances --json" ;;
        state)
            case ${words[2]-} in
                show) choices='--json' ;;
                make) choices="$settings --preset-name --plain" ;;
                *) choices='show make' ;;
            esac
            ;;
        *) choices='render params state response bench' ;;
    esac
    if ((cword == 1)) || [[ $cur == -* ]] || { ((cword == 2)) && [[ $command == state ]]; }; then
        mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
    else
        _filedir
    fi
}
complete -F _sorvane sorvane
