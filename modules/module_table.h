// All modules, and the orders in which a session uses them. They differ, and stand here one under
// the other.
#pragma once

#include <array>
#include <span>
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

    /// A module that needs no place of its own in the orders above. What it has no use for stays
    /// null.
    struct Further {
        /// Offered what none of the others took.
        CommandHandler command = nullptr;
        /// Called after the others' set-up, and before their end: what both send goes out.
        void (*setUp)() = nullptr;
        void (*destroy)() = nullptr;
        /// Offered every message but notices, unwrapped, that none of the others took; `mac` is the
        /// sender's. Non-zero when the message was its own. An answer that belongs to the common
        /// commands is offered all the same.
        int (*message)(const MessageBase* message, const std::string& mac) = nullptr;
        /// Called after the others.
        void (*busReconnected)() = nullptr;
    };
    std::span<const Further> further;
};

/// The product's table.
extern const ModuleTable kModules;

/// Calls every set-up function of the table in use, or every end after its line of the log.
/// Connection thread.
void setUpModules(ThreadKrpbusData* busThread);
void tearDownModules(void (*log)(std::string_view line));

/// Offers the command to one module after the other until one takes it; whether one did. The common
/// commands are not among them. Connection thread.
bool offerCommand(const std::string& cmd, const Document& doc);

/// Tells every module that the bus is back. Bus thread.
void tellBusReconnected();

/// The table in use. A test may put one of its own here, before a session begins.
extern const ModuleTable* moduleTable;
