# bash completion for orrelctl. The commands, options and their values are read from orrelctl's
# own help, so a new command or option completes without touching this file; pane ids come from
# the live herdr session (`orrelctl snapshot --json`).

# The words typed so far, split on blanks only: pane ids hold a colon, which bash would split on.
_orrelctl_words()
{
    local line=${COMP_LINE:0:COMP_POINT}
    read -r -a _orrelctl_typed <<< "$line"
    if [[ $line == *[[:space:]] || -z $line ]]; then
        _orrelctl_typed+=("")
    fi
}

# Pane ids of the session the command line names, or of the default one; nothing when herdr
# does not answer within two seconds.
_orrelctl_panes()
{
    local program=$1; shift
    local connection=() i
    for ((i = 0; i < ${#_orrelctl_typed[@]} - 1; i++)); do
        case ${_orrelctl_typed[i]} in
        --socket | --session) connection+=("${_orrelctl_typed[i]}" "${_orrelctl_typed[i + 1]}") ;;
        esac
    done
    timeout 2 "$program" snapshot --json "${connection[@]}" 2>/dev/null |
        grep -o '"pane_id":"[^"]*"' | sed -e 's/^"pane_id":"//' -e 's/"$//' | sort -u
}

_orrelctl()
{
    local program=${COMP_WORDS[0]}
    local _orrelctl_typed
    _orrelctl_words
    local count=${#_orrelctl_typed[@]}
    local cur=${_orrelctl_typed[count - 1]}
    local prev=
    ((count > 1)) && prev=${_orrelctl_typed[count - 2]}
    COMPREPLY=()

    local commands
    commands=$("$program" --help 2>/dev/null | sed -n '/^Commands:/,/^$/s/^  \([a-z-]*\).*/\1/p')
    if ((count == 2)); then
        mapfile -t COMPREPLY < <(compgen -W "$commands help" -- "$cur")
        return
    fi
    local command=${_orrelctl_typed[1]}
    if [[ $command == help || $command == --help ]]; then
        ((count == 3)) && mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
        return
    fi

    local help
    help=$("$program" help "$command" 2>/dev/null) || return
    # The value an option takes, as its help names it: --out <DIR>.
    local value=
    [[ $prev =~ ^--[a-z-]+$ ]] && value=$(sed -n "s/^  ${prev} <\([A-Z]*\)>.*/\1/p" <<< "$help")
    if [[ -n $value ]]; then
        case $value in
        PATH | DIR | FILE) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
        esac
        return
    fi
    if [[ $cur == -* ]]; then
        local options
        options=$(sed -n 's/^  \(--[a-z-]*\).*/\1/p' <<< "$help")
        mapfile -t COMPREPLY < <(compgen -W "$options --help" -- "$cur")
        return
    fi
    # A pane id where the usage wants one: the first word after the command that is no option
    # and no option's value.
    local valued positional=0 i
    valued=$(sed -n 's/^  \(--[a-z-]*\) <.*/\1/p' <<< "$help")
    for ((i = 2; i < count - 1; i++)); do
        if [[ ${_orrelctl_typed[i]} == -* ]]; then
            grep -qx -- "${_orrelctl_typed[i]}" <<< "$valued" && ((i++))
        else
            ((positional++))
        fi
    done
    if ((positional == 0)) && grep -q "^usage: orrelctl $command PANE" <<< "$help"; then
        mapfile -t COMPREPLY < <(compgen -W "$(_orrelctl_panes "$program")" -- "$cur")
        # bash took "w1:" as words of their own; the reply leaves out what precedes the colon.
        if [[ $cur == *:* && $COMP_WORDBREAKS == *:* ]]; then
            local prefix=${cur%"${cur##*:}"} i
            for i in "${!COMPREPLY[@]}"; do
                COMPREPLY[i]=${COMPREPLY[i]#"$prefix"}
            done
        fi
    fi
}
complete -F _orrelctl orrelctl
