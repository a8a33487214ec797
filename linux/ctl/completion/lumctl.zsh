#compdef lumctl
# Zsh completion for lumctl, to be found as _lumctl in a directory of $fpath.

_lumctl_common=(
    '(-h --help)'{-h,--help}'[show how it is used]'
    '--root=[call into the device root in DIR]:directory:_files -/'
    '--instance=[instance to call]:name:'
    '--json[print the result, or the failure, as a line of JSON]'
)

_lumctl_commands=(
    'list:show the instances of the service'
    'ping:call the service: interface version, hash, round trip'
    'wait:wait until the service answers'
    'doctor:find out what is wrong'
    'mkdir:make a directory in the dropbox'
    'rm:remove a directory of the dropbox'
    'put:store a file in the dropbox, or a directory'
    'netstats:store a block of network statistics'
    'info:show all facts about the device'
    'build-id:show the build identifier of the firmware'
    'version:show the version text and factory-reset count'
    'chipset:show the soc id and the serial number'
    'camp:start or stop a campaign'
    "module:switch a module's campaign, or ask about it"
    "opt:opt in to a module's campaign, or out of it"
    'collectors:show what is active'
    'get:ask by a command word'
    'set:send a command word and a parameter'
    'call:call a method of the interface as it is'
    'help:show how a command is used'
)

_lumctl_arguments() {
    local command=$1
    shift
    case $command in
        ping) _arguments $_lumctl_common '(-c --count)'{-c+,--count=}'[round trips]:number:' ;;
        wait) _arguments $_lumctl_common '1:seconds:' ;;
        mkdir) _arguments $_lumctl_common '(-p --parents)'{-p,--parents}'[those above it too]' '1:path:' ;;
        rm) _arguments $_lumctl_common '--all[allow / for the path]' '1:path:' ;;
        put)
            _arguments $_lumctl_common '(-r --recursive)'{-r,--recursive}'[a whole directory]' \
                '--via=[transport of the bytes]:transport:(call queue)' '1:file:_files' '2:path:'
            ;;
        netstats) _arguments $_lumctl_common '1:file:_files' ;;
        camp) _arguments $_lumctl_common '1:what:(start stop)' '2:key:' '*:collector:' ;;
        module) _arguments $_lumctl_common '1:what:(on off status)' '2:number:' ;;
        opt) _arguments $_lumctl_common '1:which:(in out)' '2:number:' ;;
        get)
            _arguments $_lumctl_common \
                '1:word:(BUILDID LUMTR_VERSION CHIPSET_SERIAL statusCamp\; collectorsState)'
            ;;
        set)
            _arguments $_lumctl_common '2:parameter:' '1:word:(startCamp stopCamp startModuleCamp
                stopModuleCamp cmdOptIn cmdOptout LUMNETSTATS)'
            ;;
        call)
            _arguments $_lumctl_common '*:argument:_files' '1:method:(configure request_read
                get_vnd_data set_vnd_data update_vendor_dropbox write_data_to_vendor_dropbox)'
            ;;
        help) _arguments $_lumctl_common '1:command:{_describe command _lumctl_commands}' ;;
        *) _arguments $_lumctl_common ;;
    esac
}

_lumctl() {
    local context state line curcontext=$curcontext
    _arguments -C $_lumctl_common '--version[show the version]' '1:command:->command' '*::argument:->argument'
    case $state in
        command) _describe command _lumctl_commands ;;
        argument) _lumctl_arguments $line[1] ;;
    esac
}

_lumctl "$@"
