// Reading the members of a request. Each parser looks one member up, checks its type and copies it
// out; what is wrong it tells the browser itself, so that a caller only looks at the result and
// returns. All run on the connection thread.
//
// Result: 0, or -1 when the member has the wrong type, -2 when it is missing. `doc` is an object.
// The texts and states differ a little from parser to parser; the web application shows them, so
// they stay as they are.
#pragma once

#include <string>

#include "json/document.h"

/// The member `name`, a string, up to its first zero byte; `value` is empty without one. A missing
/// member is told to nobody when it is `optional`. "command" is for parseCommand: asking for it
/// here is answered as an error, result -3.
int parseString(const std::string& name, std::string& value, const Document* doc, bool optional);

/// The member `name`, an integer from 0 to 4294967295.
int parseUint(const std::string& name, unsigned& value, const Document* doc);

/// The member `name`, an integer from -2147483648 to 2147483647.
int parseInt(const std::string& name, int& value, const Document* doc);

/// The member "signal_key" where it is an object: its strings "name" and "mac", zero bytes
/// included. What it does not have, or has as something else than a string, is left as it was. 0,
/// or -2 when there is no such object; the caller answers the browser, and reads the key's other
/// forms.
int parseSignalKey(std::string& name, std::string& mac, const Document& doc);
