// Triggers and events.
#pragma once

#include <string>

#include "json/document.h"

class KRPMessageResponse;

/// Registers for the bus "Trigger", and takes that back. Connection thread, before the bus thread
/// starts and after it has been joined; both return 0.
int trigger_module_setup();
int trigger_module_destroy();

/// Runs the command when it is one of this module's; non-zero when it was. Connection thread.
int wa_handle_message_trigger(const std::string& cmd, const Document& doc);

/// Takes a bus answer when it is one of this module's; non-zero when it was. `logger` names the
/// logger that answered. Bus thread.
int handleTriggerMessages(const KRPMessageResponse* response, const std::string& logger);

/// The bus connection was lost and is back: answers that were waited for will not come.
void triggerBusReconnected();
