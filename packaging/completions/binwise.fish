# fish completion for binwise

set -l commands list items empty erase put restore help tray

# Volume names and mount points, as "binwise list" prints them (its first two columns).
function __binwise_volumes
    command -q binwise; or return
    binwise list 2>/dev/null | string split -f 1,2 \t
end

complete -c binwise -f

complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a list -d 'The Trash of each volume, with item count and size'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a items -d 'The items in the Trashes'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a empty -d 'Empty all Trashes, or the named volumes\''
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a erase -d 'Erase the named items from their Trash'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a put -d 'Put files and folders in the Trash'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a restore -d 'Put Trash items back where they came from'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a help -d 'Show the help, or a command\'s'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -a tray -d 'Start the desktop (tray) application'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -s h -l help -d 'Show the help'
complete -c binwise -n "not __fish_seen_subcommand_from $commands" -s V -l version -d 'Show the version'

complete -c binwise -n "__fish_seen_subcommand_from list items empty erase put restore tray" -s h -l help -d 'Show the help of the command'
complete -c binwise -n "__fish_seen_subcommand_from list items put restore" -l json -d 'Print an array of JSON objects'
complete -c binwise -n "__fish_seen_subcommand_from items empty" -a '(__binwise_volumes)' -d Volume
complete -c binwise -n "__fish_seen_subcommand_from empty" -l all -d 'Empty every Trash'
complete -c binwise -n "__fish_seen_subcommand_from empty erase" -l json -d 'Print the outcome of each item as JSON'
complete -c binwise -n "__fish_seen_subcommand_from items empty" -l older-than -x -d 'Only items put in the Trash longer ago (30d, 12h)'
complete -c binwise -n "__fish_seen_subcommand_from items empty" -l larger-than -x -d 'Only items larger than this (500M, 1G)'
complete -c binwise -n "__fish_seen_subcommand_from items empty" -l matching -x -d 'Only items whose original name matches the pattern'
complete -c binwise -n "__fish_seen_subcommand_from empty erase" -s y -l yes -d 'Answer the confirmation with erase'
complete -c binwise -n "__fish_seen_subcommand_from empty erase" -l secure -d 'Overwrite before removing (srm)'
complete -c binwise -n "__fish_seen_subcommand_from empty erase" -l locked -x -a 'ask skip erase' -d 'How to answer "is locked" questions'
complete -c binwise -n "__fish_seen_subcommand_from empty erase" -l no-permission -x -a 'ask skip erase' -d 'How to answer "no permission" questions'
complete -c binwise -n "__fish_seen_subcommand_from erase put restore" -F
complete -c binwise -n "__fish_seen_subcommand_from restore" -l to -r -a '(__fish_complete_directories)' -d 'Put the items into this folder instead'
complete -c binwise -n "__fish_seen_subcommand_from restore" -l rename -d 'Take "name (2)" when the name is taken'
complete -c binwise -n "__fish_seen_subcommand_from help" -a 'list items empty erase put restore tray'
