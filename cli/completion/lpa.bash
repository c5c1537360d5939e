# Completion of lpa's command line for bash. Profiles are not completed: that would ask the card.

# The command among the words before the one that is completed.
_lpa_command()
{
    local i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -m | --modem | --proxy | --log-level) # and its value, of which = and : make several words
                i=$((i + 1))
                [[ ${COMP_WORDS[i]} != = ]] || i=$((i + 1))
                while [[ ${COMP_WORDS[i + 1]-} == : ]]; do i=$((i + 2)); done ;;
            -*) ;;
            *) printf '%s' "${COMP_WORDS[i]}"; return ;;
        esac
    done
}

_lpa()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command words=''
    COMPREPLY=()
    if [[ $current == = ]]; then
        current='' # --modem=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case $previous in
        -m | --modem) words='modem0 modem1 modem2 modem3 modem4' ;;
        --log-level) words='0 1 2 3 4 5' ;;
        --qr)
            compopt -o filenames 2>/dev/null || true # outside a completion there is nothing to set
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return ;;
        --proxy | --confirmation-code | --count) return ;;
    esac
    command=$(_lpa_command)
    if [[ -z $words && $current == -* ]]; then
        words='--help --modem --json --quiet --no-reload --proxy --log-level --log-to-console'
        case $command in
            '') words+=' --version' ;;
            download) words+=' --qr --confirmation-code' ;;
            delete | reset-memory | reset-settings) words+=' --yes' ;;
            watch) words+=' --count' ;;
        esac
    elif [[ -z $words && -z $command ]]; then
        words='status eid profiles notifications addresses memory download enable disable delete nickname set-smdp
            process-notifications reset-memory reset-settings watch'
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _lpa lpa
