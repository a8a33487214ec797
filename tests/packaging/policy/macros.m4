divert(-1)
# Stand-in for the platform's macros: those that the service's policy uses, with the same names,
# arguments and effect; what the platform forbids besides is left out.

# init_daemon_domain(domain): init starts the domain's executable in it.
define(`init_daemon_domain', `
allow init $1_exec:file { getattr open read execute map };
allow init $1:process { transition siginh rlimitinh };
allow $1 $1_exec:file { entrypoint open read execute getattr map };
allow $1 init:process sigchld;
type_transition init $1_exec:process $1;
')

# hal_attribute(name): the attributes hal_<name>, hal_<name>_client, hal_<name>_server.
define(`hal_attribute', `
attribute hal_$1;
attribute hal_$1_client;
attribute hal_$1_server;
')

# hal_server_domain(domain, hal_<name>), hal_client_domain(domain, hal_<name>)
define(`hal_server_domain', `
typeattribute $1 halserverdomain;
typeattribute $1 $2_server;
typeattribute $1 $2;
')
define(`hal_client_domain', `
typeattribute $1 halclientdomain;
typeattribute $1 $2_client;
')

# add_service(domain, service): the domain may register the service.
define(`add_service', `
allow $1 $2:service_manager { add find };
')

# hal_attribute_service(hal_<name>, service): servers register it, clients find it.
define(`hal_attribute_service', `
allow $1_client $2:service_manager find;
add_service($1_server, $2)
')

# binder_use(domain): may talk to the service manager, which looks at who it is.
define(`binder_use', `
allow $1 servicemanager:binder { call transfer };
allow servicemanager $1:binder { call transfer };
allow servicemanager $1:dir search;
allow servicemanager $1:file { read open };
allow servicemanager $1:process getattr;
')

# binder_call(client, server)
define(`binder_call', `
allow $1 $2:binder { call transfer };
allow $2 $1:binder transfer;
allow $1 $2:fd use;
')

# vendor_internal_prop(type): a property of the vendor partition.
define(`vendor_internal_prop', `
type $1, property_type, vendor_property_type, vendor_internal_property_type;
')
define(`get_prop', `
allow $1 $2:file { getattr open read map };
')
define(`set_prop', `
allow $1 init:unix_stream_socket connectto;
allow $1 property_socket:sock_file write;
allow $1 $2:property_service set;
get_prop($1, $2)
')
divert(0)dnl
