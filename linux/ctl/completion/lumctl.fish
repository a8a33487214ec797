# Fish completion for lumctl.

function __lumctl_command -d 'Offers a command, for as long as none is named'
    complete -c lumctl -n __fish_use_subcommand -a $argv[1] -d $argv[2]
    complete -c lumctl -n '__fish_seen_subcommand_from help' -a $argv[1] -d $argv[2]
end

function __lumctl_words -d 'Offers words behind a command'
    complete -c lumctl -n "__fish_seen_subcommand_from $argv[1]" -a "$argv[2..]"
end

complete -c lumctl -f
complete -c lumctl -s h -l help -d 'Show how it is used'
complete -c lumctl -l version -n __fish_use_subcommand -d 'Show the version'
complete -c lumctl -l root -x -a '(__fish_complete_directories)' -d 'Call into the device root'
complete -c lumctl -l instance -x -d 'Instance to call'
complete -c lumctl -l json -d 'Print the result, or the failure, as a line of JSON'

__lumctl_command list 'Show the instances of the service'
__lumctl_command ping 'Call the service: interface version, hash, round trip'
__lumctl_command wait 'Wait until the service answers'
__lumctl_command doctor 'Find out what is wrong'
__lumctl_command mkdir 'Make a directory in the dropbox'
__lumctl_command rm 'Remove a directory of the dropbox'
__lumctl_command put 'Store a file in the dropbox, or a directory'
__lumctl_command netstats 'Store a block of network statistics'
__lumctl_command info 'Show all facts about the device'
__lumctl_command build-id 'Show the build identifier of the firmware'
__lumctl_command version 'Show the version text and factory-reset count'
__lumctl_command chipset 'Show the soc id and the serial number'
__lumctl_command camp 'Start or stop a campaign'
__lumctl_command module "Switch a module's campaign, or ask about it"
__lumctl_command opt "Opt in to a module's campaign, or out of it"
__lumctl_command collectors 'Show what is active'
__lumctl_command get 'Ask by a command word'
__lumctl_command set 'Send a command word and a parameter'
__lumctl_command call 'Call a method of the interface as it is'
__lumctl_command help 'Show how a command is used'

complete -c lumctl -n '__fish_seen_subcommand_from ping' -s c -l count -x -d 'Round trips'
complete -c lumctl -n '__fish_seen_subcommand_from mkdir' -s p -l parents -d 'Those above it too'
complete -c lumctl -n '__fish_seen_subcommand_from rm' -l all -d 'Allow / for the path'
complete -c lumctl -n '__fish_seen_subcommand_from put' -s r -l recursive -d 'A whole directory'
complete -c lumctl -n '__fish_seen_subcommand_from put' -l via -x -a 'call queue' -d 'Transport'
complete -c lumctl -n '__fish_seen_subcommand_from put netstats call' -F

__lumctl_words camp start stop
__lumctl_words module on off status
__lumctl_words opt in out
__lumctl_words get BUILDID LUMTR_VERSION CHIPSET_SERIAL "'statusCamp;'" collectorsState
__lumctl_words set startCamp stopCamp startModuleCamp stopModuleCamp cmdOptIn cmdOptout LUMNETSTATS
__lumctl_words call configure request_read get_vnd_data set_vnd_data update_vendor_dropbox \
    write_data_to_vendor_dropbox
