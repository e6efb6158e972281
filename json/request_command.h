// The name of a request, and the answers that carry it. They stand together because each needs the
// other: an answer is named after its request's command, and a request without a readable one is
// answered, too.
#pragma once

#include <string>

#include "json/document.h"
#include "json/kr_state.h"

/// The member "command", a string, up to its first zero byte.
int parseCommand(std::string& cmd, const Document* doc);

/// Answers a request under its own command's name. 0, or -3 when the request has no readable
/// command; the browser has then been told that instead.
int createAndSendJSON_simpleDoc(const Document* request, kr_state state, kr_error_code code,
                                const std::string& msg);

/// Tells the browser that a member has the wrong type, in an answer to the request's command.
void createAndSendJSON_parsingError(const Document* doc, const Value* value,
                                    const std::string* name, const char* expected);
