#include "desk/sources/recording.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "desk/sources/bus_title.h"

namespace desk {

namespace {

/// Longer recordings could not be played in a loop that anybody waits for.
constexpr double kMostSeconds = 366.0 * 24 * 3600;
/// From the last row to the first one of the next round where the rows themselves do not tell.
constexpr std::chrono::seconds kBetweenRounds{1};

/// One row after the other of a table's text.
class Table {
  public:
    explicit Table(std::string_view text) : rest_(text) {}

    /// The line that the last row began in, from 1.
    std::size_t line() const { return rowLine_; }

    /// The fields of the next row that is not blank; nothing at the end.
    std::optional<std::vector<std::string>> nextRow() {
        while (!rest_.empty() && (rest_.front() == '\n' || rest_.front() == '\r')) {
            take();
        }
        if (rest_.empty()) {
            return std::nullopt;
        }
        rowLine_ = line_;
        std::vector<std::string> fields;
        do {
            fields.push_back(field());
        } while (skip(','));
        skip('\r');
        if (!rest_.empty() && !skip('\n')) {
            throw std::invalid_argument("there is something behind a closing quote");
        }
        return fields;
    }

  private:
    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        line_ += c == '\n' ? 1U : 0U;
        return c;
    }
    bool skip(char c) {
        if (!rest_.starts_with(c)) {
            return false;
        }
        take();
        return true;
    }
    std::string field() {
        std::string text;
        if (!skip('"')) {
            while (!rest_.empty() && rest_.front() != ',' && rest_.front() != '\n') {
                text += take();
            }
            if (text.ends_with('\r')) {
                text.pop_back();
            }
            return text;
        }
        while (!rest_.empty()) {
            const char c = take();
            if (c == '"' && !skip('"')) {
                return text;
            }
            text += c;
        }
        throw std::invalid_argument("a quote is not closed");
    }

    std::string_view rest_;
    std::size_t line_ = 1;
    std::size_t rowLine_ = 1;
};

std::optional<double> toNumber(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || std::isspace(text.front()) != 0) {
        return std::nullopt;
    }
    return number;
}

/// "Speed [km/h]" -> "Speed", "km/h"
Recording::Signal signalOf(const std::string& title) {
    const std::size_t open = title.rfind(" [");
    if (open == std::string::npos || !title.ends_with(']')) {
        return {title, "", false};
    }
    return {title.substr(0, open), title.substr(open + 2, title.size() - open - 3), false};
}

/// What the columns behind the time are.
struct Columns {
    std::vector<bool> holdsLoads;
    std::set<std::string> signals;
    std::set<std::pair<busid_t, std::uint8_t>> buses;
};

void addColumn(const std::string& title, Columns& columns, Recording& recording) {
    Recording::Signal signal = signalOf(title);
    if (signal.name.empty()) {
        throw std::invalid_argument("a signal has no name");
    }
    auto bus = readBusTitle(signal.name, signal.unit);
    columns.holdsLoads.push_back(bus.has_value());
    if (bus) {
        if (!columns.buses.emplace(bus->id, bus->channel).second) {
            throw std::invalid_argument("two columns are of " + std::string(busIdText(bus->id)) +
                                        " " + std::to_string(bus->channel + 1));
        }
        recording.buses.push_back(std::move(*bus));
        return;
    }
    if (!columns.signals.insert(signal.name).second) {
        throw std::invalid_argument("two signals have the name \"" + signal.name + "\"");
    }
    recording.signals.push_back(std::move(signal));
}

Columns readTitles(const std::optional<std::vector<std::string>>& row, Recording& recording) {
    if (!row || row->front() != "time" || row->size() < 2) {
        throw std::invalid_argument("the first row must be: time,<signal> [unit],...");
    }
    Columns columns;
    for (std::size_t i = 1; i < row->size(); ++i) {
        addColumn((*row)[i], columns, recording);
    }
    return columns;
}

std::chrono::microseconds timeOf(const std::string& field, double& firstTime,
                                 const Recording& recording) {
    const auto time = toNumber(field);
    if (!time || !std::isfinite(*time)) {
        throw std::invalid_argument("\"" + field + "\" is not a time in seconds");
    }
    if (recording.rows.empty()) {
        firstTime = *time;
    }
    if (*time - firstTime > kMostSeconds) {
        throw std::invalid_argument("the recording is longer than a year");
    }
    const auto sinceFirst = std::chrono::microseconds(std::llround((*time - firstTime) * 1e6));
    if (sinceFirst.count() < 0 ||
        (!recording.rows.empty() && sinceFirst < recording.rows.back().time)) {
        throw std::invalid_argument("the time goes back");
    }
    return sinceFirst;
}

std::optional<std::int32_t> loadOf(const std::string& field) {
    if (field.empty()) {
        return std::nullopt;
    }
    std::int32_t load = 0;
    const char* const end = field.data() + field.size();
    const auto result = std::from_chars(field.data(), end, load);
    if (result.ec != std::errc() || result.ptr != end) {
        throw std::invalid_argument("\"" + field + "\" is no load, which is a whole number");
    }
    return load;
}

void addRow(std::vector<std::string> fields, const Columns& columns, double& firstTime,
            Recording& recording) {
    const std::size_t wanted = columns.holdsLoads.size();
    Recording::Row row;
    row.time = timeOf(fields.front(), firstTime, recording);
    if (fields.size() != wanted + 1) {
        throw std::invalid_argument("there must be " + std::to_string(wanted) + " values, not " +
                                    std::to_string(fields.size() - 1));
    }
    for (std::size_t i = 0; i < wanted; ++i) {
        if (columns.holdsLoads[i]) {
            row.loads.push_back(loadOf(fields[i + 1]));
        } else {
            row.values.push_back(std::move(fields[i + 1]));
        }
    }
    recording.rows.push_back(std::move(row));
}

bool isNumeric(const Recording& recording, std::size_t signal) {
    bool any = false;
    for (const Recording::Row& row : recording.rows) {
        const std::string& value = row.values[signal];
        if (!value.empty() && !toNumber(value)) {
            return false;
        }
        any = any || !value.empty();
    }
    return any;
}

Recording parse(std::string_view text, Table& table) {
    static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) {
        text.remove_prefix(kByteOrderMark.size());
    }
    table = Table(text);
    Recording recording;
    const Columns columns = readTitles(table.nextRow(), recording);
    double firstTime = 0.0;
    while (auto fields = table.nextRow()) {
        addRow(std::move(*fields), columns, firstTime, recording);
    }
    if (recording.rows.empty()) {
        throw std::invalid_argument("there are no values");
    }
    for (std::size_t i = 0; i < recording.signals.size(); ++i) {
        recording.signals[i].isNumber = isNumeric(recording, i);
    }
    return recording;
}

}  // namespace

Recording readRecording(const std::filesystem::path& file) {
    std::error_code none;
    std::ifstream stream(file, std::ios::binary);
    if (!std::filesystem::is_regular_file(file, none) || !stream) {
        throw std::invalid_argument("the recording \"" + file.string() + "\" cannot be read");
    }
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    Table table(text);
    try {
        return parse(text, table);
    } catch (const std::invalid_argument& wrong) {
        throw std::invalid_argument("the recording \"" + file.string() + "\", line " +
                                    std::to_string(table.line()) + ": " + wrong.what());
    }
}

std::chrono::microseconds untilRowAfter(const Recording& recording, std::size_t row) {
    const std::vector<Recording::Row>& rows = recording.rows;
    if (row + 1 < rows.size()) {
        return rows[row + 1].time - rows[row].time;
    }
    // The loop closes after as much time as lies between the last two rows.
    const auto last =
        rows.size() > 1 ? rows[row].time - rows[row - 1].time : std::chrono::microseconds(0);
    return last.count() > 0 ? last : kBetweenRounds;
}

}  // namespace desk
