// The message that carries one signal value to the browser, as text.
#pragma once

#include <string_view>
#include <vector>

#include "modules/signal/signal_data.h"

namespace klv {

/// Writes the message "generic_sig_value" in the very layout of dom_to_json(). Values are what the
/// product sends most of, so the text is written straight from the record, without a document in
/// between, into a buffer that keeps its room from value to value. One thread at a time.
class SignalValueText {
  public:
    /// The message for the signal's latest value. Good until the next call. Takes no lock.
    std::string_view write(const SignalData& signal);

  private:
    std::vector<char> buffer_;
};

}  // namespace klv
