// Lets the reading of a directory fail on its way.
#pragma once

/// How many more entries any directory gives before reading it fails with EIO; -1: it does not.
extern thread_local int entriesUntilFault;
