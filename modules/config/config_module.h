// Web-application configurations: texts that the browser keeps on the logger under a name.
#pragma once

#include <string>

#include "json/document.h"

/// Runs the command when it is one of this module's; 1 when it was, 0 otherwise. Connection thread.
int wa_handle_message_config(const std::string& cmd, const Document& doc);
