// An answer that says only that, and why, there is no result.
#pragma once

#include <memory>

#include "desk/scenario/scenario.h"
#include "krpbus/messages/krp_message.h"

namespace desk {

/// Answers a request of any id: a failed answer has the same bytes whatever its result would have
/// been. The receiver gets it as the answer type of that id.
class FailedAnswer : public KRPMessageResponse {
  public:
    FailedAnswer(krpMsgID_t id, const Failure& failure) : KRPMessageResponse(id) {
        setError(failure.status, failure.errorCode, failure.description);
    }

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<FailedAnswer>(*this);
    }
    void decodeResult(ByteReader&) override {}

  protected:
    void encodeResult(ByteWriter&) const override {}
    void printResult(std::ostream&) const override {}
};

}  // namespace desk
