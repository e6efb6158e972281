// Signals and their live values.
#pragma once

#include <string>

#include "json/document.h"

class MessageBase;
class ThreadKrpbusData;

/// Keeps the bus thread; returns 0. Connection thread, before the bus thread starts.
int signal_module_setup(ThreadKrpbusData* thread);
/// Switches the forwarding off at all loggers and empties the catalogue; returns 0. Connection
/// thread, after the bus thread has been joined.
int signal_module_destroy();

/// Runs the command when it is a signal command: 0 when it is none, 1 when it was run, 2 when it
/// ended with an error. Connection thread.
int wa_handle_message_signal(const std::string& cmd, const Document& doc);

/// Takes a message of the bus when it is one of this module's; non-zero when it was. `source` names
/// the logger that it came from. Bus thread.
int handleSignalMessages(const MessageBase* message, const std::string& source);

/// The bus connection was lost and is back: answers that were waited for will not come.
void signalBusReconnected();
