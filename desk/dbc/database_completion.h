// The last step of reading a database: what can only be settled once all of it is known.
#pragma once

#include "desk/dbc/unfinished_database.h"

namespace dbc {

/// Settles which signal is switched by which, the kinds of values, their texts and the long names.
Database finish(Draft draft);

}  // namespace dbc
