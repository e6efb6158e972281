// The base of every worker thread of a session.
#pragma once

#include <apr_thread_proc.h>

#include <atomic>
#include <cstdint>
#include <string>

class MessageBase;
struct LvSetup;
struct _WebSocketServer;

/// One worker thread: its APR thread and pool, its names, and the flag that its function polls.
/// start_thread, stop_thread and the destructor are for the connection thread.
class ThreadData {
  public:
    /// Keeps the arguments, draws the thread's name on the message bus and creates its pool, a
    /// child of the session's with an allocator of its own. A pool that cannot be created is logged
    /// and reported to the browser; start_thread then refuses. `setup` is not owned and must live
    /// until the thread has been joined.
    ThreadData(LvSetup* setup, unsigned int id, const std::string& name,
               apr_thread_start_t function);
    /// Stops and joins the thread where that is still to be done.
    virtual ~ThreadData();
    ThreadData(const ThreadData&) = delete;
    ThreadData& operator=(const ThreadData&) = delete;

    /// Called on the worker thread for each message of the bus; the base ignores them.
    virtual void handleMessages(const MessageBase* message);

    /// Starts the function on a thread of its own. 0, or -1 when it could not be started.
    int start_thread();
    /// Tells the thread to stop and waits until its function has returned. Does nothing for a
    /// thread that was never started or has been joined already; a thread that ended by itself is
    /// joined. Throws nothing.
    void stop_thread();

    const std::string& getName() const { return name_; }
    const std::string& getBusName() const { return busName_; }
    unsigned int getId() const { return id_; }
    /// The session's websocket server; null once the session has taken its socket record back.
    const _WebSocketServer* getServer() const;
    /// Draws the thread's name on the bus, "<connection number>_KLV<random number>", and makes it
    /// the session's.
    void setKRPBusName(const _WebSocketServer* server);

    /// Whether the thread is meant to run (1 or 0). Any thread.
    std::uint32_t isActive() const { return running_.load(); }
    void setActive(std::uint32_t running) { running_.store(running); }

  protected:
    LvSetup* setup() const { return setup_; }

  private:
    void createPool();
    int createThread();

    LvSetup* setup_;
    apr_thread_t* thread_ = nullptr;  // from its creation until it has been joined
    apr_pool_t* pool_ = nullptr;      // goes with the session's pool
    std::string name_;
    std::string busName_;
    unsigned int id_;
    std::atomic<std::uint32_t> running_{0};
    apr_thread_start_t function_;
};
