# Bash completion of velmorin, velmorinctl and velmorin-sim. Commands and options are those that the programs' own
# --help lists. velmorin is not asked: it has no options, and would start the job of the job file.

_velmorin_files() {  # left to readline, which knows blanks and folders
    compopt -o default 2>/dev/null
    COMPREPLY=()
}

_velmorin_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur"); }

_velmorin_can_interfaces() {
    local type
    for type in /sys/class/net/*/type; do
        [[ $(cat "$type" 2>/dev/null) == 280 ]] && basename "${type%/type}"
    done
    [[ -n ${VELMORIN_BENCH:-} ]] && basename -a "$VELMORIN_BENCH"/can[0-9] 2>/dev/null
}

_velmorin_open_jobs() {
    "$program" jobs --open --json 2>/dev/null | grep -o '"timestamp": *[0-9]*' | grep -o '[0-9]*$'
}

# _velmorin_option: completes the value of the option before the cursor; false when that is not one with a value.
_velmorin_option() {
    case $prev in
        --save | --log | --html | --answer) _velmorin_files ;;
        --bench) compopt -o dirnames 2>/dev/null ;;
        --can | --interface) _velmorin_words "$(_velmorin_can_interfaces)" ;;
        --plan) _velmorin_words "A B" ;;
        --pace) _velmorin_words "1 max" ;;
        --job) _velmorin_words "$(_velmorin_open_jobs)" ;;
        --*) grep -qE -- "$prev [A-Z]" <<<"$help" ;;  # a number, which nobody can guess
        *) false ;;
    esac
}

_velmorin_options() { _velmorin_words "$(grep -oE -- '(^|[ ,])--[a-z][-a-z]*' <<<"$help" | tr -d ' ,')"; }

_velmorinctl() {
    local program=$1 cur=$2 prev=$3 help command='' word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || { command=$word; break; }
    done
    COMPREPLY=()
    help=$("$program" $command --help 2>/dev/null) || return
    if [[ -z $command && $cur != -* ]]; then
        _velmorin_words "$(sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z]*\) .*/\1/p' <<<"$help")"
    elif ! _velmorin_option; then
        case $command:$cur in
            *:-*) _velmorin_options ;;
            update:* | stage:* | export:* | explain:*) _velmorin_files ;;
            close:*) _velmorin_words "$(_velmorin_open_jobs)" ;;
        esac
    fi
}

_velmorin_sim() {
    local program=$1 cur=$2 prev=$3 help
    COMPREPLY=()
    help=$("$program" --help 2>/dev/null) || return
    _velmorin_option || _velmorin_options
}

_velmorin() {
    COMPREPLY=()
    [[ $COMP_CWORD -eq 1 ]] && _velmorin_files
}

complete -F _velmorin velmorin
complete -F _velmorinctl velmorinctl
complete -F _velmorin_sim velmorin-sim
