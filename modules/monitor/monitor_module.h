// The remote-control monitor: the screens of the local logger's handheld control unit.
#pragma once

#include <string>

#include "json/document.h"

class MessageBase;

/// Connection thread, before the bus thread starts and after it has been joined; both return 0.
int monitor_module_setup();
int monitor_module_destroy();

/// Runs the command when it is one of this module's; 1 when it was, 0 otherwise. Connection thread.
int wa_handle_message_monitor(const std::string& cmd, const Document& doc);

/// Takes a message of the bus, unwrapped: 1 for a list of monitor names, 0 for all others. Bus
/// thread.
int handleMonitorMessages(const MessageBase* message);
