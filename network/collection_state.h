// How far the collection of the answers of all loggers has come.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

/// The states of a collection.
enum kslMsgState_t : std::uint32_t {
    KSL_MSG_STATE_EMPTY = 0,     // never requested
    KSL_MSG_STATE_UPDATE = 1,    // requested, waiting for answers
    KSL_MSG_STATE_COMPLETE = 2,  // every logger has answered
};

/// Writes the name of the state; "unknown" for a value that has none.
std::ostream& operator<<(std::ostream& out, kslMsgState_t state);

/// The state of one collection, a word that any thread may poll. Its owner moves it on under the
/// mutex that guards what is collected; the functions with a name are for there.
///
/// A collection remembers the connection to the bus (busConnection()) that it was requested on: the
/// answers are lost with that connection, while a request on the next one is answered. The bus
/// thread may learn of a lost connection when there has been a new one for seconds.
class CollectionState {
  public:
    operator kslMsgState_t() const { return state_; }
    CollectionState& operator=(kslMsgState_t state) {
        state_ = state;
        return *this;
    }

    /// Whether answers are waited for that may still come to this connection.
    bool isUnderWay(std::uint32_t connection) const {
        return state_ == KSL_MSG_STATE_UPDATE && connection_ >= connection;
    }

    /// Waits for answers to this connection from now on. False, with nothing changed, when that is
    /// under way.
    bool begin(std::uint32_t connection) {
        if (isUnderWay(connection)) {
            return false;
        }
        connection_ = connection;
        state_ = KSL_MSG_STATE_UPDATE;
        return true;
    }

    /// Moves on to "complete" when more loggers have answered than there are neighbours, which do
    /// not include this logger; whether that is so.
    bool complete(std::size_t answers, std::size_t neighbours) {
        if (answers <= neighbours) {
            return false;
        }
        state_ = KSL_MSG_STATE_COMPLETE;
        return true;
    }

    /// Waits no longer for what was requested on an earlier connection than this; whether there was
    /// such a request.
    bool abandon(std::uint32_t connection) {
        if (state_ != KSL_MSG_STATE_UPDATE || isUnderWay(connection)) {
            return false;
        }
        state_ = KSL_MSG_STATE_EMPTY;
        return true;
    }

  private:
    std::atomic<kslMsgState_t> state_{KSL_MSG_STATE_EMPTY};
    std::uint32_t connection_ = 0;
};
