// What a logger answers about itself: requests 23, 53, 82, 89 and 117.
#pragma once

#include "desk/services/service.h"
#include "desk/sources/logger_identity.h"

namespace desk {

class LoggerInfoService : public Service {
  public:
    /// The identity must outlive the service.
    explicit LoggerInfoService(const LoggerIdentity& identity) : identity_(identity) {}

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;

  private:
    const LoggerIdentity& identity_;
};

}  // namespace desk
