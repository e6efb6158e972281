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

void write(std::string_view piece) REQUIRES(LogUtil::logMutex) {
    std::cout.write(piece.data(), static_cast<std::streamsize>(piece.size()));
}

void finishWriting() REQUIRES(LogUtil::logMutex) {
    std::cout.flush();
    std::cout.clear();  // one line that could not be written must not silence all later ones
}

/// For a line that there is no memory to put together for. Whoever logs must not fail for the sake
/// of the log: sessions log while they end.
void writeInPieces(std::string_view tag, std::string_view function,
                   std::initializer_list<std::string_view> text) {
    const MutexLocker lock(LogUtil::logMutex);
    for (const std::string_view piece :
         {tag, std::string_view("KLV::"), function, std::string_view("() ")}) {
        write(piece);
    }
    for (const std::string_view piece : text) {
        write(piece);
    }
    write("\n");
    finishWriting();
}

}  // namespace

void LogUtil::log(LogLevel level, std::string_view function, std::string_view text) {
    logPieces(level, function, {text});
}

void LogUtil::logPieces(LogLevel level, std::string_view function,
                        std::initializer_list<std::string_view> text) {
    const std::string_view tag = levelTag(level);
    std::size_t size = tag.size() + function.size() + 9;
    for (const std::string_view piece : text) {
        size += piece.size();
    }
    std::string line;
    try {
        line.reserve(size);
    } catch (const std::bad_alloc&) {
        writeInPieces(tag, function, text);
        return;
    }
    line.append(tag).append("KLV::").append(function).append("() ");
    for (const std::string_view piece : text) {
        line.append(piece);
    }
    line.append("\n");

    const MutexLocker lock(logMutex);
    write(line);
    finishWriting();
}

void LogUtil::redirectOutputToError() {
    const MutexLocker lock(logMutex);
    if (std::cout.rdbuf() != std::cerr.rdbuf()) {
        std::cout.rdbuf(std::cerr.rdbuf());
    }
}
