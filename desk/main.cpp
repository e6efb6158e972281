// desklogger: one logger of a network, on a desk.
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>

#include "desk/desk_logger.h"
#include "desk/first_connection.h"
#include "desk/loop/posix_signals.h"
#include "desk/options.h"
#include "desk/tell.h"

namespace {

/// The name of the process itself on the bus; what clients talk to are a logger's participants.
std::string busName(const desk::Options& options) {
    return (options.tell ? "desklogger-tell-" : "desklogger-") + std::to_string(getpid());
}

int runWith(const desk::Options& options) {
    desk::PosixSignals signals;
    const desk::FirstConnection connection =
        desk::connectToBus(busName(options), options.identity.mac, options.bus, signals);
    if (!connection.client) {
        return connection.exitCode;
    }
    if (options.tell) {
        return desk::tell(*connection.client, *options.tell, signals);
    }
    return desk::DeskLogger(options, *connection.client, signals).run();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const desk::CommandLine commandLine =
            desk::readCommandLine({argv + 1, argv + argc}, std::cout, std::cerr);
        return commandLine.options ? runWith(*commandLine.options) : commandLine.exitCode;
    } catch (const std::exception& failure) {
        std::cerr << "desklogger: " << failure.what() << std::endl;
        return desk::kExitFailure;
    }
}
