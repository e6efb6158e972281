#include "tests/desk/network/desklogger_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tests/krpbus/client/bus_test_client.h"

namespace {

[[noreturn]] void becomeDeskLogger(const std::string& busServer,
                                   const std::vector<std::string>& arguments, int input, int output,
                                   pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    setenv("KRPBUS_SERVER", busServer.c_str(), 1);
    setenv("TZ", "Europe/Berlin", 1);
    unsetenv("KRPBUS_MAC");
    std::vector<char*> argv{const_cast<char*>("desklogger")};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    if (getppid() == parent) {
        execv(DESKLOGGER, argv.data());
    }
    _exit(127);
}

}  // namespace

DeskLoggerProcess::DeskLoggerProcess(const std::string& busServer,
                                     const std::vector<std::string>& arguments)
    : outputFile_("/tmp/desklogger-XXXXXX") {
    std::array<int, 2> input{};
    const int output = mkostemp(outputFile_.data(), O_CLOEXEC | O_APPEND);
    if (output < 0 || pipe2(input.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no file or no pipe for desklogger");
    }
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ == 0) {
        becomeDeskLogger(busServer, arguments, input[0], output, parent);
    }
    close(input[0]);
    close(output);
    input_ = input[1];
}

DeskLoggerProcess::~DeskLoggerProcess() {
    if (isRunning()) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    endInput();
    unlink(outputFile_.c_str());
}

std::string DeskLoggerProcess::output() const {
    std::ifstream stream(outputFile_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

int DeskLoggerProcess::countLines(const std::string& text) const {
    std::istringstream lines(output());
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
        count += line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

bool DeskLoggerProcess::waitForOutput(const std::string& text) const {
    return eventually([this, &text] { return output().find(text) != std::string::npos; });
}

void DeskLoggerProcess::signal(int number) {
    if (isRunning()) {
        kill(process_, number);
    }
}

void DeskLoggerProcess::type(const std::string& text) {
    if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("desklogger's standard input takes nothing");
    }
}

void DeskLoggerProcess::endInput() {
    if (input_ >= 0) {
        close(input_);
        input_ = -1;
    }
}

bool DeskLoggerProcess::hasEnded() {
    if (process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_) {
        process_ = -1;
    }
    return process_ < 0;
}

bool DeskLoggerProcess::isRunning() {
    return !hasEnded();
}

std::optional<int> DeskLoggerProcess::waitForExit() {
    if (!eventually([this] { return hasEnded(); })) {
        return std::nullopt;
    }
    return WIFSIGNALED(status_) ? -WTERMSIG(status_) : WEXITSTATUS(status_);
}
