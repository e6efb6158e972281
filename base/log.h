// The process-wide log: one line at a time, under one mutex.
#pragma once

#include <initializer_list>
#include <string_view>

#include "base/mutex.h"

enum class LogLevel { Debug, Info, Warning, Error };

struct LogUtil {
    /// Guards every line that is written to the log and every change of std::cout's buffer. It is
    /// the innermost lock: nothing else is locked while it is held. Usable before main and at exit.
    static Mutex logMutex;

    /// Writes "<level tag>KLV::<function>() <text>" and a line end to standard output in one piece.
    /// Builds the line first and takes logMutex only for writing it. Any thread.
    static void log(LogLevel level, std::string_view function, std::string_view text);
    /// The same for a text in pieces, which are written one behind the other. Needs no memory that
    /// it cannot do without, for those whose work a lack of it must not break off: it throws
    /// nothing.
    static void logPieces(LogLevel level, std::string_view function,
                          std::initializer_list<std::string_view> text);

    /// Gives std::cout the buffer of std::cerr, so that what is logged reaches the web server's
    /// error log. Does nothing where that is already so. Takes logMutex. Any thread.
    static void redirectOutputToError();
};
