# SPDX-License-Identifier: MIT
# Completes the options of KvnGUIAgent in bash.

_KvnGUIAgent() {
    local word=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --root)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        ;;
    --ui) mapfile -t COMPREPLY < <(compgen -W "desktop terminal none" -- "$word") ;;
    --show) mapfile -t COMPREPLY < <(compgen -W "settings status" -- "$word") ;;
    *) mapfile -t COMPREPLY < <(compgen -W "--root --ui --show --version --help" -- "$word") ;;
    esac
}

complete -F _KvnGUIAgent KvnGUIAgent
