// The bus thread: the session's client of the message bus and the loop that reads it.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include "threads/thread_data.h"

class FdSet;
class KRPBusClient;

/// A worker thread that owns a bus client. The client is created and connected by the constructor,
/// on the connection thread, and read by the bus thread; every thread of the session sends through
/// it (LvSetup::krpbus).
///
/// The object may outlive its session. What the session does at its end is stop_thread(), then
/// closeBus() once nothing of it sends any more.
class ThreadKrpbusData : public ThreadData {
  public:
    /// Takes about three seconds longer when no bus server answers; the thread can be constructed
    /// all the same. Ends the process when there cannot be a client at all.
    ThreadKrpbusData(LvSetup* setup, unsigned int id, const std::string& name,
                     apr_thread_start_t function);
    /// Deletes the client. The thread must have been stopped before.
    ~ThreadKrpbusData() override;

    void handleMessages(const MessageBase* message) override;
    /// The connection to the bus server was lost and is back: answers to earlier requests will not
    /// come. Bus thread; the base does nothing.
    virtual void handleReconnect();

    /// Creates, connects and announces the client.
    void setupKrpClient();
    /// One pass of the bus loop: waits up to `timeout` for the client and hands on what it has
    /// read. Bus thread.
    void handleKRPBusServer(timespec* timeout);
    /// The MAC address, in upper case, of the logger that a message with this source came from: the
    /// forwarding logger's, or the local one's lowest.
    void getMacAddress(const std::string& source, std::string& mac);

    bool isConnected() const;
    bool isKslEnabled() const { return kslEnabled_; }

    /// Closes the connection to the bus and takes the client out of the set-up record, which is not
    /// used by this object afterwards. Connection thread, after the thread has been joined and when
    /// no other thread of the session sends any more. Harmless when called again.
    void closeBus();

  private:
    void createClient();
    void connectClient();
    void announceClient();
    void deleteClient(const char* function);
    int wait(FdSet& fdset, const timespec* timeout);
    void noticeReconnect();
    void handleReceived();
    void handleServerGone();

    std::unique_ptr<KRPBusClient> krpBusClient_;
    std::uint32_t connections_ = 0;  // how often the client had been connected at the last pass
    bool kslEnabled_ = false;
    const std::string localMac_;  // in upper case
};

/// The bus thread's start-up check: 0, or -1 after telling the browser that there is no connection.
int initalize_thread(void* data, ThreadKrpbusData* thread);

/// The bus thread's function; `data` is the ThreadData that it belongs to.
void* krpbus_run(apr_thread_t* thread, void* data);
