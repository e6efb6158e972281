// Bus names and bus loads.
#pragma once

#include <string>

#include "json/document.h"

class MessageBase;
class ThreadKrpbusData;

/// Connection thread, before the bus thread starts and after it has been joined; both return 0.
int busload_module_setup(ThreadKrpbusData* thread);
int busload_module_destroy();

/// Runs the command when it is one of this module's; non-zero when it was. Connection thread.
int wa_handle_message_busload(const std::string& cmd, const Document& doc);

/// Takes a message of the bus when it is one of this module's; non-zero when it was. A forwarded
/// message comes still wrapped. `mac` names the logger that it came from. Bus thread.
int handleBusloadMessages(const MessageBase* message, const std::string& mac);

/// The bus connection was lost and is back: answers that were waited for will not come.
void busloadBusReconnected();
