// The message that carries one bus load to the browser, as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "modules/busload/busload_data.h"

namespace klv {

/// Writes the message "busload_data" in the very layout of dom_to_json(). Loads are sent thousands
/// of times a second, so the text is written straight from the record into a buffer that keeps its
/// room. WaResponseBusload, which sends it, leaves its document empty. One thread at a time.
class BusloadText {
  public:
    /// The message for the bus's latest load, with the logger's name where there is one. Good until
    /// the next call. Looks at the network record's flags.
    std::string_view write(const BusloadData& data, const std::optional<std::string>& loggerName);

  private:
    std::vector<char> buffer_;
};

}  // namespace klv
