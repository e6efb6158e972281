// Answers that carry no data: a command's name, how it went, and perhaps a description.
//
// These functions know only success and failure: every state but KR_STATE_OK is answered as
// "ERROR". An answer with "PROGRESS" or "WAITING_FOR_DATA" is a WaResponseMessage. Any thread.
#pragma once

#include <string>
#include <utility>

#include "json/document.h"
#include "json/kr_state.h"

/// The answer as text (obtained with malloc, the caller frees it); null when it cannot be written.
/// An empty `msg` is left out.
char* createJSONResponse_simple(const std::string& cmd, kr_state state, kr_error_code code,
                                const std::string& msg);

/// Builds that answer and sends it to the browser of the current session.
void createAndSendJSON_simple(const std::string& cmd, kr_state state, kr_error_code code,
                              const std::string& msg);

/// The answer to a request about one signal, named by the pair (signal name, logger MAC). Text as
/// with createJSONResponse_simple.
char* createJSONResponse_generic(const std::string& cmd, kr_state state, kr_error_code code,
                                 const std::pair<std::string, std::string>& key, int interval = -1);

/// Builds that answer and sends it to the browser of the current session.
void createAndSendJSON_generic(const std::string& cmd, kr_state state, kr_error_code code,
                               const std::pair<std::string, std::string>& key, int interval = -1);
