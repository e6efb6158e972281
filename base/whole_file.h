// Reading and writing a file as a whole. Only regular files are used: a FIFO or a device that
// stands under the name can hold nobody up.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace base {

/// Which file may stand under the name already.
enum class ExistingFile {
    Any,       ///< any regular one, also at the end of a symbolic link
    OwnAlone,  ///< one of this process's user, under this name alone: for directories of everybody
};

/// Writes the bytes as the whole content of the file, which is made where there is none. A file
/// that is there keeps its content until there is room on the disk for the new one. Several who
/// write at once follow each other: the file then holds the bytes of one of them, whole; a turn is
/// waited for up to two seconds. False when the file could not be opened or is none of those
/// allowed, was in use for too long, or there was no room. Then it is as it was before, and not
/// there when it was not. Where the file system cannot reserve room, or the disk itself fails, the
/// content may be lost; the file is then left empty. Any thread.
bool writeWholeFile(const std::string& path, std::string_view bytes, ExistingFile existing);

/// The whole content of the file; nothing when it cannot be opened or read, is no regular file, or
/// is so large that `copies` times its content do not fit into memory. While somebody writes it,
/// that is waited for, two seconds at most. Any thread.
std::optional<std::string> readWholeFile(const std::string& path, unsigned copies = 1);

}  // namespace base
