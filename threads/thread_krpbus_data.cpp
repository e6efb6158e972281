#include "threads/thread_krpbus_data.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <ios>
#include <iostream>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "base/kr_exception.h"
#include "base/krselect.h"
#include "base/log.h"
#include "base/microsleep.h"
#include "json/kr_state.h"
#include "json/simple_response.h"
#include "json/websocket_send.h"
#include "krpbus/address/ksl_config_file.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"
#include "krpbus/messages/message_base.h"
#include "krpbus/messages/message_kind.h"
#include "krpbus/messages/participants.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/system_set_state_message.h"
#include "setup/lv_setup.h"
#include "threads/thread_name.h"

namespace {

constexpr std::uint16_t kBusPort = 20010;
constexpr std::uint32_t kSecondMicroseconds = 1000000;
constexpr long kSelectNanoseconds = 800000000;  // a stop is seen this late at most

/// Before the bus loop tries again what it had no memory for.
constexpr std::uint32_t kPauseAfterFailure = 100000;  // microseconds

/// So many live values may wait for each other on their way to the browser.
constexpr int kHeldAtOnce = 256;

bool isLiveData(const MessageBase& message) {
    switch (kindOf(&message)) {
        case SignalMessage::kMessageID:
        case BusLoadExtMessage::kMessageID:
        case GPSTraceMessage::kMessageID:
            return true;
        case RouterMessage::kMessageID: {
            const MessageBase* const inner = as<RouterMessage>(&message)->getMessage();
            return inner != nullptr && isLiveData(*inner);
        }
        default:
            return false;
    }
}

bool readKslEnabled() {
    const KSLConfigFile config;
    return config.isEnabled() && config.isActive();
}

void reportBusError(const std::string& threadName, const std::string& text) {
    createAndSendJSON_simple(threadName, KR_STATE_ERROR, KR_ERROR_KRPBUS_ERROR, text);
}

void logSelectError(int error) {
    const std::string line = std::string("[ERROR] krselect() error: ") + strerror(error) + "\n";
    const MutexLocker lock(LogUtil::logMutex);
    std::cerr << line << std::flush;
}

}  // namespace

ThreadKrpbusData::ThreadKrpbusData(LvSetup* setup, unsigned int id, const std::string& name,
                                   apr_thread_start_t function)
    : ThreadData(setup, id, name, function),
      localMac_(KSLUtil::findLowestMAC().toString(std::ios::uppercase)) {
    BaseSignal::debug = 1;
    kslEnabled_ = readKslEnabled();
    LogUtil::log(LogLevel::Debug, "ThreadKrpbusData",
                 std::string("kslEnabled: ") + (kslEnabled_ ? "1" : "0"));
    setupKrpClient();
    if (krpBusClient_ == nullptr) {
        LogUtil::log(LogLevel::Error, "ThreadKrpbusData", "no krpBusClient");
    } else if (!krpBusClient_->isConnected()) {
        LogUtil::log(LogLevel::Error, "ThreadKrpbusData", "Not connected to server!");
    }
}

ThreadKrpbusData::~ThreadKrpbusData() {
    if (krpBusClient_ != nullptr) {
        deleteClient("~ThreadKrpbusData");
    } else {
        LogUtil::log(LogLevel::Debug, "~ThreadKrpbusData", "krpBusClient is null;");
    }
}

void ThreadKrpbusData::handleMessages(const MessageBase*) {}

void ThreadKrpbusData::handleReconnect() {}

void ThreadKrpbusData::setupKrpClient() {
    try {
        MessageBase::registerMessages();
        createClient();
        connectClient();
        announceClient();
    } catch (const KRException& e) {
        LogUtil::log(LogLevel::Debug, "setupKrpClient", e.what());
        LogUtil::log(LogLevel::Debug, "setupKrpClient", "krpbus module setup failed");
        // A session is of no use without its client, and the server gives the browser a new
        // process. The keep-alive thread may be running: what it uses has no destructor that runs
        // at exit.
        exit(1);
    } catch (...) {
        setup()->krpbus = nullptr;  // the client goes with this object, which there will not be
        throw;
    }
}

void ThreadKrpbusData::createClient() {
    krpBusClient_.reset(new (std::nothrow) KRPBusClient(getBusName(), "", kBusPort));
    setup()->krpbus = krpBusClient_.get();
    if (krpBusClient_ == nullptr) {
        throw KRException("[ERROR] cannot create KRPBusClient instance");
    }
}

/// The client's constructor has tried once. Three more attempts follow, one second apart, while the
/// browser's handshake waits.
void ThreadKrpbusData::connectClient() {
    int counter = 4;
    while (!krpBusClient_->isConnected() && --counter != 0) {
        LogUtil::log(LogLevel::Error, "setupKrpClient",
                     "Connection to KRPBus server failed, retrying...");
        microsleep(kSecondMicroseconds, false);
        krpBusClient_->connectToServer();
    }
    if (!krpBusClient_->isConnected()) {
        LogUtil::log(LogLevel::Error, "connectClient",
                     "no bus server can be reached at " + krpBusClient_->getServer());
    }
    connections_ = krpBusClient_->getConnectionCount();
}

void ThreadKrpbusData::announceClient() {
    const SystemSetStateKrpBusMessage state(KRPBus::statusNames[2], "", 0);
    krpBusClient_->sendTo(krpBusClient_->getName(), kKrpBusServer, state.clone());
}

void ThreadKrpbusData::handleKRPBusServer(timespec* timeout) {
    noticeReconnect();
    FdSet fdset;
    fdset.set(krpBusClient_->getFd());
    const int ready = wait(fdset, timeout);
    if (ready == -1) {
        if (errno != EINTR) {
            logSelectError(errno);
        }
        return;
    }
    if (ready == 0) {
        return;
    }
    if (!fdset.isSet(krpBusClient_->getFd())) {
        LogUtil::log(LogLevel::Error, "handleKRPBusServer",
                     "oops, FD_ISSET(krpBusClient->getFd(), &fdset) failed");
        return;
    }
    if (krpBusClient_->read()) {
        handleReceived();
    } else {
        handleServerGone();
    }
}

int ThreadKrpbusData::wait(FdSet& fdset, const timespec* timeout) {
    const KRPBusClient::Waiting waiting(*krpBusClient_);
    return krselect(&fdset, nullptr, nullptr, timeout, nullptr);
}

void ThreadKrpbusData::noticeReconnect() {
    const std::uint32_t connections = krpBusClient_->getConnectionCount();
    if (connections != connections_) {
        handleReconnect();
        connections_ = connections;  // where that fails the next pass tells it again
    }
}

/// Live data that comes together leaves together. Of other messages nobody knows whether handling
/// them sleeps.
void ThreadKrpbusData::handleReceived() {
    std::optional<HeldFrames> held;
    int count = 0;
    for (bool more = true; more;) {
        try {
            const std::unique_ptr<MessageBase> message = krpBusClient_->getMessage();
            more = message != nullptr;
            if (!more || !isLiveData(*message) || ++count % kHeldAtOnce == 0) {
                held.reset();
            }
            if (more && !held && isLiveData(*message)) {
                held.emplace();
            }
            if (more) {
                handleMessages(message.get());
            }
        } catch (const std::exception& e) {
            LogUtil::logPieces(LogLevel::Error, "handleKRPBusServer",
                               {"message dropped: ", e.what()});
        }
    }
}

/// While the server stays away the next pass comes here again. So the browser is told about every
/// five seconds that there is nothing to see, which is its only sign of it.
void ThreadKrpbusData::handleServerGone() {
    microsleep(5 * kSecondMicroseconds, false);
    LogUtil::log(LogLevel::Error, "handleKRPBusServer", "oops, krpbus server is gone");
    reportBusError(getName(), "oops, krpbus server is gone");
}

void ThreadKrpbusData::getMacAddress(const std::string& source, std::string& mac) {
    unsigned char link = 0;
    if (!KSLUtil::parseForwardMsgAddr(source, link, mac)) {
        mac = localMac_;
        return;
    }
    std::transform(mac.begin(), mac.end(), mac.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
}

bool ThreadKrpbusData::isConnected() const {
    return krpBusClient_ != nullptr && krpBusClient_->isConnected();
}

void ThreadKrpbusData::closeBus() {
    if (krpBusClient_ != nullptr) {
        deleteClient("closeBus");
    }
}

void ThreadKrpbusData::deleteClient(const char* function) {
    LogUtil::log(LogLevel::Debug, function, "delete krpBusClient");
    setup()->krpbus = nullptr;
    krpBusClient_.reset();
    LogUtil::log(LogLevel::Debug, function, "krpBusClient deleted");
}

int initalize_thread(void*, ThreadKrpbusData* thread) {
    LogUtil::redirectOutputToError();
    if (!thread->isConnected()) {
        reportBusError(thread->getName(), "not connected");
        return -1;
    }
    return 0;
}

namespace {

/// Without memory for the browser's answer it hears nothing, and the thread ends all the same.
bool mayBegin(void* data, ThreadKrpbusData* thread) {
    try {
        return initalize_thread(data, thread) == 0;
    } catch (const std::exception& e) {
        LogUtil::logPieces(LogLevel::Error, "krpbus_run", {"not started: ", e.what()});
        return false;
    }
}

/// What one pass lacks, memory for instance, the next one may have: the thread goes on.
void runPass(ThreadKrpbusData& thread) {
    try {
        timespec timeout{0, kSelectNanoseconds};
        thread.handleKRPBusServer(&timeout);
    } catch (const std::exception& e) {
        LogUtil::logPieces(LogLevel::Error, "krpbus_run", {"pass broken off: ", e.what()});
        microsleep(kPauseAfterFailure, false);
    }
}

}  // namespace

void* krpbus_run(apr_thread_t*, void* data) {
    auto* thread = dynamic_cast<ThreadKrpbusData*>(static_cast<ThreadData*>(data));
    if (thread == nullptr) {
        return nullptr;
    }
    setThreadName(thread->getName(), thread->getServer());
    if (!mayBegin(data, thread)) {
        return nullptr;
    }
    while (thread->isActive() != 0) {
        runPass(*thread);
    }
    LogUtil::logPieces(
        LogLevel::Debug, "krpbus_run",
        {getThreadName(), " thread stopped [TID=", std::to_string(syscall(SYS_gettid)), "]"});
    return nullptr;
}
