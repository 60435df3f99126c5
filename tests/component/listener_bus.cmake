# The functions of libdbus for which component/listener_bus.cpp has its own, without "dbus_": each goes to
# __wrap_dbus_<name> there. For whatever is linked with that file.
set(LISTENER_BUS_FUNCTIONS bus_get bus_request_name bus_add_match
  connection_flush connection_set_exit_on_disconnect connection_set_max_received_unix_fds
  connection_set_dispatch_status_function
  connection_get_dispatch_status connection_read_write connection_pop_message)
