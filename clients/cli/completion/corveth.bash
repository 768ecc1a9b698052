# Completion of corveth in bash. What there is to complete is asked of the program itself: its help tells the commands,
# their options and arguments, the server the classes and their members.

_corveth() {
    local program=${1/#\~/$HOME} current=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} usage word position class='' i
    local -a arguments given=()
    COMPREPLY=()

    if ((COMP_CWORD == 1)); then
        word=$("$program" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p')
        mapfile -t COMPREPLY < <(compgen -W "$word --help --version" -- "$current")
        return
    fi
    usage=$("$program" "$command" --help 2>/dev/null) || return
    if [[ $current == -* ]]; then
        word=$(sed -n '/^Options:/,/^$/s/^  .*\(--[a-z-]\{1,\}\).*/\1/p' <<<"$usage")
        mapfile -t COMPREPLY < <(compgen -W "$word" -- "$current")
        return
    fi

    # The arguments before the cursor; a word with an equals sign comes in up to three parts.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            =) ((++i < COMP_CWORD)) || return ;;
            --*) ;;
            *) given+=("${COMP_WORDS[i]}") ;;
        esac
    done
    [[ $current != = ]] || return
    read -ra arguments < <(sed -n 's/^Usage: corveth [a-z]* \[OPTIONS\] *//p' <<<"$usage" | tr -d '[].')
    ((${#arguments[@]})) || return
    position=$((${#given[@]} < ${#arguments[@]} ? ${#given[@]} : ${#arguments[@]} - 1))
    for i in "${!arguments[@]}"; do
        [[ ${arguments[i]} != CLASS ]] || class=${given[i]:-}
    done

    case ${arguments[position]} in
        CLASS)
            word=$("$program" classes 2>/dev/null)
            [[ $current == prj* ]] || word=${word//prjCorveth./}
            mapfile -t COMPREPLY < <(compgen -W "$word" -- "$current")
            ;;
        METHOD) mapfile -t COMPREPLY < <(compgen -W "$(_corveth_members method)" -- "$current") ;;
        NAME=VALUE | MEMBER=ARGUMENT)
            word='let|set'
            [[ ${arguments[position]} == NAME* ]] || word='let|set|method'
            mapfile -t COMPREPLY < <(compgen -S = -W "$(_corveth_members "$word")" -- "$current")
            compopt -o nospace 2>/dev/null
            ;;
    esac
}

# The members of a kind that the class named before the cursor has.
_corveth_members() {
    "$program" introspect "$class" 2>/dev/null |
        awk -v kind="^($1)" 'NR > 2 && $3 ~ kind && !/ hidden / { print $2 }' | sort -u
}

# Where there is nothing else to say it is a file.
complete -o bashdefault -o default -F _corveth corveth
