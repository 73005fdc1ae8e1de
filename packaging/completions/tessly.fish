# fish completion for tessly. The commands are read from `tessly --help`.

function __tessly_commands
    tessly --help 2>/dev/null | awk -F '  +' '
        /^Commands:/ { on = 1; next }
        on && /^$/ { exit }
        on { split($2, w, " "); print w[1] "\t" $3 }'
end

complete -c tessly -f -n __fish_use_subcommand -a '(__tessly_commands)'
complete -c tessly -n '__fish_seen_subcommand_from login' -l token -r -d 'the sign-in token, or - for standard input'
complete -c tessly -n '__fish_seen_subcommand_from login' -l domain -r -d 'the profile'
complete -c tessly -n '__fish_seen_subcommand_from screenshot' -l window -d 'capture a window'
complete -c tessly -n '__fish_seen_subcommand_from screenshot' -l markup -d 'open the capture in the markup editor'
complete -c tessly -n '__fish_seen_subcommand_from record' -l gif -d 'make a GIF'
complete -c tessly -n '__fish_seen_subcommand_from record' -l region -r -d 'the area, x,y,width,height'
complete -c tessly -n '__fish_seen_subcommand_from record' -l duration -r -d 'seconds to record'
complete -c tessly -n '__fish_seen_subcommand_from record' -l no-audio -d 'record no sound'
complete -c tessly -n '__fish_seen_subcommand_from upload open share gif optimize' -F
