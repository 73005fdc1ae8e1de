# bash completion for tessly. The commands and their options are read from
# `tessly --help`, so new commands complete without a change here.

_tessly_help_line()
{
    tessly --help 2>/dev/null | awk -v want="$1" -F '  +' '
        /^Commands:/ { on = 1; next }
        on && /^$/ { exit }
        on { split($2, w, " "); if (want == "" || w[1] == want) print $2 }'
}

_tessly()
{
    local cur=${COMP_WORDS[COMP_CWORD]}
    if [ "$COMP_CWORD" -eq 1 ]; then
        local line commands=""
        while IFS= read -r line; do commands+=" ${line%% *}"; done < <(_tessly_help_line "")
        mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$cur")
        return
    fi
    local synopsis
    synopsis=$(_tessly_help_line "${COMP_WORDS[1]}")
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -o -- '--[a-z-]*' <<<"$synopsis")" -- "$cur")
    elif [[ $synopsis == *FILE* || $synopsis == *MOVIE* ]]; then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    fi
}
complete -F _tessly tessly
