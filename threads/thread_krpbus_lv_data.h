// The session's bus thread: routes what arrives on the message bus to the modules.
#pragma once

#include "threads/thread_krpbus_data.h"

class ThreadKrpbusLvData : public ThreadKrpbusData {
  public:
    ThreadKrpbusLvData(LvSetup* setup, unsigned int id, const std::string& name,
                       apr_thread_start_t function);
    ~ThreadKrpbusLvData() override;

    /// Acts on notices of the bus and offers everything else to the modules. Bus thread; the caller
    /// deletes the message afterwards.
    void handleMessages(const MessageBase* message) override;
    /// Collections that wait for answers go back to "not requested". Bus thread.
    void handleReconnect() override;
};
