// Reading and writing a file as a whole. Only regular files are used: a FIFO or a device that
// stands under the name can hold nobody up.
#pragma once

#include <optional>
#include <string>
#include <string_view>

enum class SymbolicLinks { Follow, Refuse };

// Writes the bytes as the whole content of the file, which is made or truncated. False when it
// could not be opened, is not a regular file, or could not be written to its end (disk full); a
// file that was there is then truncated, or holds a part.
bool writeWholeFile(const std::string& path, std::string_view bytes, SymbolicLinks links);

// The whole content of the file; nothing when it cannot be opened or read or is no regular file.
std::optional<std::string> readWholeFile(const std::string& path);
