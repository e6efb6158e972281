#include "tests/kit/log_capture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

void flushStreams() {
    std::cout.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

extern "C" void __sanitizer_set_death_callback(void (*callback)());

/// Where standard error led before, and where it leads during a capture.
int originalError = -1;
int capturedError = -1;

/// A sanitizer writes its report to standard error and ends the process: shows what would be lost.
void showCapturedError() {
    char buffer[4096];
    off_t at = 0;
    ssize_t count = 0;
    while (capturedError >= 0 && (count = pread(capturedError, buffer, sizeof buffer, at)) > 0 &&
           write(originalError, buffer, static_cast<std::size_t>(count)) == count) {
        at += count;
    }
}

void showReportsOnDeath(int original, int captured) {
    originalError = original;
    capturedError = captured;
    __sanitizer_set_death_callback(showCapturedError);
}

#else

void showReportsOnDeath(int, int) {}

#endif

/// A file without a name, which goes when its last descriptor is closed.
int openNamelessFile() {
    char name[] = "/tmp/lv-log-capture-XXXXXX";
    const int file = mkostemp(name, O_APPEND | O_CLOEXEC);
    if (file < 0) {
        throw std::runtime_error("cannot create a file in /tmp");
    }
    unlink(name);
    return file;
}

void appendLogLines(std::vector<std::string>& lines, const std::string& text,
                    std::string_view marker) {
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line) && !stream.eof()) {
        if (line.find(marker) != std::string::npos) {
            lines.push_back(line);
        }
    }
}

}  // namespace

LogCapture::LogCapture() {
    flushStreams();
    output_ = divert(STDOUT_FILENO);
    error_ = divert(STDERR_FILENO);
    showReportsOnDeath(error_.original, error_.file);
}

LogCapture::~LogCapture() {
    flushStreams();
    showReportsOnDeath(-1, -1);
    const bool show = testing::Test::HasFailure();
    restore(output_, show);
    restore(error_, show);
}

LogCapture::Stream LogCapture::divert(int descriptor) {
    const Stream stream{descriptor, fcntl(descriptor, F_DUPFD_CLOEXEC, 3), openNamelessFile(), 0};
    if (stream.original < 0 || dup2(stream.file, descriptor) < 0) {
        throw std::runtime_error("cannot divert a standard stream");
    }
    return stream;
}

void LogCapture::restore(const Stream& stream, bool show) {
    dup2(stream.original, stream.descriptor);
    close(stream.original);
    if (show) {
        Stream all = stream;
        all.start = 0;
        std::cerr << read(all);
    }
    close(stream.file);
}

std::string LogCapture::read(const Stream& stream) {
    std::string text;
    char buffer[4096];
    while (true) {
        const ssize_t count =
            pread(stream.file, buffer, sizeof buffer,
                  static_cast<off_t>(stream.start) + static_cast<off_t>(text.size()));
        if (count <= 0) {
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
}

std::string LogCapture::standardOutput() const {
    flushStreams();
    return read(output_);
}

std::string LogCapture::standardError() const {
    flushStreams();
    return read(error_);
}

std::vector<std::string> LogCapture::logLines(std::string_view function) const {
    std::string marker = "KLV::";
    if (!function.empty()) {
        marker.append(function).append("() ");
    }
    std::vector<std::string> lines;
    appendLogLines(lines, standardOutput(), marker);
    appendLogLines(lines, standardError(), marker);
    return lines;
}

bool LogCapture::waitForLine(std::string_view line, std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const std::vector<std::string> lines = logLines();
        if (std::find(lines.begin(), lines.end(), line) != lines.end()) {
            return true;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void LogCapture::clear() {
    output_.start += static_cast<long>(standardOutput().size());
    error_.start += static_cast<long>(standardError().size());
}
