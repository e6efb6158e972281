// The lines that describe messages and their signals: BO_ and SG_.
#pragma once

#include <optional>

#include "desk/dbc/cursor.h"
#include "desk/dbc/unfinished_database.h"

namespace dbc {

/// Reads what follows "BO_" in its line and adds the message. Gives its place, or nothing for the
/// pseudo message that holds the signals of none. Throws Unexpected.
std::optional<std::size_t> readMessage(Cursor& cursor, Draft& draft);

/// Reads what follows "SG_" in its line and adds the signal to that message. Throws Unexpected.
void readSignal(Cursor& cursor, Draft& draft, std::size_t message);

}  // namespace dbc
