// Whose answer comes next.
#pragma once

#include <atomic>

/// Which command the next answer to bus request 87 belongs to: 0 "upload_audio_file", 1
/// "set_audio_file". Fixed by the protocol: the last command decides, also one that was refused.
/// Written by the connection thread, read by the bus thread.
inline constinit std::atomic<int> php_version{0};
