// The sections that say more about messages and signals that are there already: VAL_, SIG_VALTYPE_,
// SG_MUL_VAL_ and the attributes BA_.
#pragma once

#include "desk/dbc/cursor.h"
#include "desk/dbc/unfinished_database.h"

namespace dbc {

/// Each reads what follows its keyword, and throws Unexpected. What they say about a message or a
/// signal that is not there is left out with a remark.
void readValueTable(Cursor& cursor, Draft& draft);
void readValueTexts(Cursor& cursor, Draft& draft);
void readValueType(Cursor& cursor, Draft& draft);
void readExtendedMultiplexing(Cursor& cursor, Draft& draft);
void readComment(Cursor& cursor, Draft& draft);
void readAttributeDefinition(Cursor& cursor, Draft& draft);
void readAttributeDefault(Cursor& cursor, Draft& draft);
void readAttribute(Cursor& cursor, Draft& draft);

}  // namespace dbc
