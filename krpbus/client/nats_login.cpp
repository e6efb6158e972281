// How a connection to the bus server is made.
#include <chrono>
#include <exception>
#include <utility>

#include "base/log.h"
#include "krpbus/client/background_threads.h"
#include "krpbus/client/login_deadline.h"
#include "krpbus/client/nats_connection.h"
#include "krpbus/client/server_url.h"
#include "krpbus/client/signals_blocked.h"

namespace krpbus {

namespace {

constexpr std::chrono::milliseconds kLoginTimeout{2000};

void onError(natsConnection*, natsSubscription*, natsStatus status, void*) {
    LogUtil::logPieces(LogLevel::Error, "BusConnection",
                       {"bus server: ", natsStatus_GetText(status)});
}

struct OptionsDeleter {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
};

}  // namespace

std::shared_ptr<NatsConnection> NatsConnection::open(const std::string& url,
                                                     const std::string& name, base::WakeEvent& wake,
                                                     std::string& refusal) {
    const std::shared_ptr<NatsConnection> connection(new NatsConnection(wake));
    const natsStatus status = connection->connect(url, name);
    if (status == NATS_OK) {
        return connection;
    }
    if (status != NATS_NO_SERVER) {
        refusal = natsStatus_GetText(status);
    }
    return nullptr;
}

natsStatus NatsConnection::connect(const std::string& url, const std::string& name) {
    const SignalsBlocked blocked;
    const BackgroundThreads background;  // the first use of the library starts its threads
    natsOptions* raw = nullptr;
    if (natsOptions_Create(&raw) != NATS_OK) {
        return NATS_NO_MEMORY;
    }
    const std::unique_ptr<natsOptions, OptionsDeleter> options(raw);
    const bool good = natsOptions_SetURL(raw, url.c_str()) == NATS_OK &&
                      natsOptions_SetName(raw, name.c_str()) == NATS_OK &&
                      natsOptions_SetTimeout(raw, kLoginTimeout.count()) == NATS_OK &&
                      // No thread of the library may touch the connection: one that reconnects or
                      // probes frees the TLS object while the reader is in it.
                      natsOptions_SetAllowReconnect(raw, false) == NATS_OK &&
                      natsOptions_SetPingInterval(raw, 0) == NATS_OK &&
                      natsOptions_SetIgnoreDiscoveredServers(raw, true) == NATS_OK &&
                      natsOptions_SetErrorHandler(raw, onError, nullptr) == NATS_OK &&
                      // Without it the library would start a thread of its own for writing.
                      natsOptions_SetSendAsap(raw, true) == NATS_OK &&
                      natsOptions_SetEventLoop(raw, this, onAttach, onReadInterest, onWriteInterest,
                                               onDetach) == NATS_OK;
    if (url.starts_with("tls://")) {
        natsOptions_SetSecure(raw, true);
    }
    if (!good) {
        return NATS_INVALID_ARG;
    }
    try {
        const LoginDeadline deadline(kLoginTimeout, serverPort(url));
        const natsStatus status = natsConnection_Connect(&connection_, raw);
        return deadline.hasPassed() ? NATS_TIMEOUT : status;
    } catch (const std::exception&) {  // no thread, or no memory for one
        return NATS_NO_MEMORY;
    }
}

}  // namespace krpbus
