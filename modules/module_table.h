// All modules, and the orders in which a session uses them. They differ, and stand here one under
// the other.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <variant>

#include "json/document.h"

class KRPMessageResponse;
class MessageBase;
class SystemNgEventMessage;
class ThreadKrpbusData;

/// The entry points of the modules. Arrays are gone through from first to last.
struct ModuleTable {
    /// Runs a command of the browser when it is its own: non-zero then. Connection thread.
    using CommandHandler = int (*)(const std::string& cmd, const Document& doc);

    /// The commands about the network, offered a command before all others: they gather the logger
    /// info, without which every other command is refused.
    CommandHandler common;
    /// Offered a command after that, until one takes it. Fixed by the protocol; no command belongs
    /// to two of them, so the order decides only how soon a command finds its own.
    std::array<CommandHandler, 6> commands;

    using SetUp = std::variant<void (*)(), int (*)(), int (*)(ThreadKrpbusData*)>;
    /// Called before the bus thread starts, so that no message reaches a module without its state.
    /// Their results tell nothing. Connection thread.
    std::array<SetUp, 5> setUp;

    struct TearDown {
        std::string_view logged;  // the session says this before
        std::variant<void (*)(), int (*)()> destroy;
    };
    /// Called when the bus thread has ended; what they still send goes out. The requests, which all
    /// others send through, come last. Connection thread.
    std::array<TearDown, 5> tearDown;

    /// What arrives on the bus. Each handler returns non-zero when the message was its own. Bus
    /// thread.
    struct Routing {
        /// Offered every message but notices, in this order, until one takes it: a value without a
        /// name for the browser is the monitor's before it is a signal's. Bus load takes a
        /// forwarded message as it came, still wrapped.
        int (*busload)(const MessageBase* message, const std::string& mac);
        int (*monitor)(const MessageBase* message);
        int (*signal)(const MessageBase* message, const std::string& mac);
        /// Offered the answers that none of those took: the first sees every one of them, the last
        /// only those that audio leaves.
        int (*common)(const KRPMessageResponse* response, const std::string& mac);
        int (*audio)(const KRPMessageResponse* response);
        int (*trigger)(const KRPMessageResponse* response, const std::string& mac);
        /// Called on notices: an event was created; the counting of events began anew; the logger
        /// no longer records.
        void (*sendSetTrigger)(const SystemNgEventMessage* event);
        void (*getTrigger)(int waitCount);
        void (*busloadSetUnknown)();
    };
    Routing routing;

    /// The bus was lost and is back: what was waited for will not come. The neighbours first, since
    /// the number of answers that all others wait for depends on them. Bus thread.
    std::array<void (*)(), 4> busReconnected;
};

/// The product's table.
extern const ModuleTable kModules;

/// Calls every set-up function of the table in use, or every end after its line of the log.
/// Connection thread.
void setUpModules(ThreadKrpbusData* busThread);
void tearDownModules(void (*log)(std::string_view line));

/// The table in use. A test may put one of its own here, before a session begins.
extern const ModuleTable* moduleTable;
