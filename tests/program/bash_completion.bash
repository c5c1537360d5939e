# usage: bash --norc bash_completion.bash COMPLETION-FILE
# What a Tab offers, in a bash of its own.
set -eu
source "$1"
failed=0

offers() { # EXPECTED WORD... : the last word is completed
    local expected=$1; shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    "$(complete -p lpa | sed 's/.*-F \([^ ]*\) .*/\1/')"
    if [ "${COMPREPLY[*]}" != "$expected" ]; then
        printf 'lpa %s: offers "%s", expected "%s"\n' "${*:2}" "${COMPREPLY[*]}" "$expected"
        failed=1
    fi
}

offers 'enable' lpa en
offers 'delete' lpa --json del
offers 'download' lpa -m modem1 dow
offers 'profiles process-notifications' lpa pro
offers 'modem0 modem1 modem2 modem3 modem4' lpa -m mod
offers 'modem3' lpa eid --modem modem3
offers '--log-level --log-to-console' lpa --log
offers '4' lpa --log-level 4
offers '--quiet --qr' lpa download --q
offers '--confirmation-code' lpa download --c
offers '--yes' lpa -m modem1 delete --y
offers '' lpa eid --y
offers '--count' lpa watch --co
offers '--version' lpa --ver
offers '' lpa eid --ver
offers '' lpa enable en
offers '' lpa --proxy en
offers 'status' lpa --proxy localhost : 10 sta
offers 'status' lpa --modem = modem1 sta
offers 'modem0 modem1 modem2 modem3 modem4' lpa --modem =
offers 'modem3' lpa --modem = modem3
offers "$1" lpa download --qr "$1"
exit $failed
