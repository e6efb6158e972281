#include "base/log.h"

#include <initializer_list>
#include <iostream>
#include <new>
#include <string>

constinit Mutex LogUtil::logMutex;

namespace {

std::string_view levelTag(LogLevel level) {
    switch (level) {
        case LogLevel::Debug:
            return "[DEBUG] ";
        case LogLevel::Info:
            return "[INFO] ";
        case LogLevel::Warning:
            return "[WARNING] ";
        case LogLevel::Error:
            return "[ERROR] ";
    }
    return "";
}

/// For a line that there is no memory to put together for. Whoever logs must not fail for the sake
/// of the log: sessions log while they end.
void writeInPieces(std::initializer_list<std::string_view> pieces) {
    const MutexLocker lock(LogUtil::logMutex);
    for (const std::string_view piece : pieces) {
        std::cout.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    }
    std::cout.flush();
    std::cout.clear();
}

}  // namespace

void LogUtil::log(LogLevel level, std::string_view function, std::string_view text) {
    const std::string_view tag = levelTag(level);
    std::string line;
    try {
        line.reserve(tag.size() + function.size() + text.size() + 9);
    } catch (const std::bad_alloc&) {
        writeInPieces({tag, "KLV::", function, "() ", text, "\n"});
        return;
    }
    line.append(tag).append("KLV::").append(function).append("() ").append(text).append("\n");

    const MutexLocker lock(logMutex);
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size()));
    std::cout.flush();
    std::cout.clear();  // one line that could not be written must not silence all later ones
}

void LogUtil::redirectOutputToError() {
    const MutexLocker lock(logMutex);
    if (std::cout.rdbuf() != std::cerr.rdbuf()) {
        std::cout.rdbuf(std::cerr.rdbuf());
    }
}
