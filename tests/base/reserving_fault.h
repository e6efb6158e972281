// A disk that is full before a file has all the room it asks for.
#pragma once

#include <sys/types.h>

// While it is not negative, reserving room for a file makes it so long, as ext4 does with the room
// that there is, and fails. Of the thread.
extern thread_local off_t roomForFile;
