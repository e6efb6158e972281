#include "desk/dbc/reader.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

#include "base/whole_file.h"
#include "desk/dbc/cursor.h"
#include "desk/dbc/database_completion.h"
#include "desk/dbc/detail_lines.h"
#include "desk/dbc/message_lines.h"
#include "desk/dbc/text.h"
#include "desk/dbc/unfinished_database.h"

namespace dbc {

namespace {

class Reader {
  public:
    explicit Reader(std::string_view text) : cursor_(text) {}

    Draft read() {
        while (cursor_.skipBlanks(), !cursor_.atEnd()) {
            try {
                readSection();
            } catch (const Unexpected& wrong) {
                draft_.remark(wrong.line(), wrong.what(), true);
                cursor_.skipToSection();
            }
        }
        return std::move(draft_);
    }
    bool knowsAnything() const { return knowsAnything_; }

  private:
    using Section = void (*)(Cursor&, Draft&);
    struct NamedSection {
        std::string_view keyword;
        Section read;
    };
    /// Those that are understood beside messages and signals; all others are passed over.
    static constexpr std::array<NamedSection, 8> kSections = {{
        {"VAL_TABLE_", readValueTable},
        {"VAL_", readValueTexts},
        {"SIG_VALTYPE_", readValueType},
        {"SG_MUL_VAL_", readExtendedMultiplexing},
        {"CM_", readComment},
        {"BA_DEF_", readAttributeDefinition},
        {"BA_DEF_DEF_", readAttributeDefault},
        {"BA_", readAttribute},
    }};

    void readSection() {
        const std::size_t line = cursor_.line();
        std::string_view keyword = cursor_.keyword();
        if (!isKeyword(keyword)) {
            keyword = separated(keyword, line);
        }
        knowsAnything_ = true;
        if (keyword == "BO_") {
            // Signals that follow a message which is not understood belong to none.
            message_.reset();
            hasLostMessage_ = true;
            message_ = readMessage(cursor_, draft_);
            hasLostMessage_ = !message_.has_value();
        } else if (keyword == "SG_") {
            readSignalLine(line);
        } else if (keyword == "NS_") {
            skipKeywordList();
        } else if (const Section section = find(keyword)) {
            section(cursor_, draft_);
        } else {
            skipSection();
        }
    }

    /// "BO_291" and "SG_Speed" lack a blank.
    std::string_view separated(std::string_view word, std::size_t line) {
        for (const std::string_view keyword : {"BO_", "SG_"}) {
            if (word.starts_with(keyword) && word.size() > keyword.size()) {
                cursor_.goBack(word.size() - keyword.size());
                draft_.remark(line, "there is no blank behind " + std::string(keyword));
                return keyword;
            }
        }
        cursor_.goBack(word.size());
        cursor_.expected("a section like BO_, SG_ or VAL_");
    }

    void readSignalLine(std::size_t line) {
        if (message_) {
            readSignal(cursor_, draft_, *message_);
        } else if (hasLostMessage_) {
            cursor_.skipToSection();
        } else {
            throw Unexpected(line, "expected a message (BO_) in front of its signals (SG_)");
        }
    }

    /// The names of sections that a file may have, one in a line.
    void skipKeywordList() {
        cursor_.restOfLine();
        while (cursor_.atSection()) {
            const std::string_view word = cursor_.keyword();
            if (cursor_.peekInLine() != '\n') {
                cursor_.goBack(word.size());
                return;
            }
        }
    }

    /// Texts of sections that are passed over may hold anything.
    void skipSection() {
        while (!cursor_.atEnd() && !cursor_.atSection()) {
            if (cursor_.atString()) {
                cursor_.string("a text");
            } else if (cursor_.wordInLine().empty()) {
                cursor_.skip(cursor_.peekInLine());
            }
        }
    }

    static Section find(std::string_view keyword) {
        const auto* const found =
            std::find_if(kSections.begin(), kSections.end(),
                         [&](const NamedSection& section) { return section.keyword == keyword; });
        return found == kSections.end() ? nullptr : found->read;
    }

    Cursor cursor_;
    Draft draft_;
    std::optional<std::size_t> message_;  // the one that signals belong to
    bool hasLostMessage_ = false;         // signals come that belong to nothing that is kept
    bool knowsAnything_ = false;          // there has been a section
};

}  // namespace

Database readDatabase(std::string_view bytes) {
    const std::string text = toText(bytes);
    Reader reader(text);
    Draft draft = reader.read();
    if (!reader.knowsAnything()) {
        const bool isEmpty = draft.remarks.empty();
        throw std::invalid_argument(
            isEmpty ? "line 1: expected a section like BO_, SG_ or VAL_, found the end of the file"
                    : "line " + std::to_string(draft.remarks.front().line) + ": " +
                          draft.remarks.front().text);
    }
    return finish(std::move(draft));
}

Database readDatabaseFile(const std::filesystem::path& file) {
    const auto bytes = base::readWholeFile(file.string());
    if (!bytes) {
        throw std::invalid_argument("the database \"" + file.string() + "\" cannot be read");
    }
    try {
        return readDatabase(*bytes);
    } catch (const std::invalid_argument& wrong) {
        throw std::invalid_argument("the database \"" + file.string() + "\", " + wrong.what());
    }
}

}  // namespace dbc
