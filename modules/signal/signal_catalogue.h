// The catalogue of the live-view signals of all loggers, with the latest value of each.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "krpbus/messages/krp_get_lv_signal_config.h"
#include "modules/signal/signal_data.h"
#include "network/collection_state.h"

/// The bus thread fills the catalogue, the connection thread starts and stops signals in it. Each
/// operation holds the one mutex for its whole run. None of them logs or sends meanwhile, except
/// what withSignal() is given to do: the answer to a start must not be overtaken by a value. The
/// two words that threads poll are atomic.
class SignalInfo {
  public:
    using signalConfig_t = KRPResponseGetLVSignalConfig::signalConfig_t;

    CollectionState configState;
    std::atomic<bool> forwardingActive{false};  // the loggers have been told to send values

    /// Whether the catalogue has exactly this signal.
    bool checkSignal(const SignalKey& key) const;
    /// The key of the signal that a browser means by this one. A name that is no UTF-8 is shown
    /// with U+FFFD in the place of what is ill-formed, so a key that holds U+FFFD and names no
    /// signal exactly means the first one, in the order of the keys, that is shown like it. Any
    /// other key means itself.
    SignalKey findShown(const SignalKey& key) const;
    /// A copy of the signal; an empty one when there is none.
    SignalData getSignalData(const SignalKey& key) const;
    /// Inserts the signal of the logger `source`, or refreshes it: then its latest value and its
    /// being started stay.
    void updateSignalConfiguration(const signalConfig_t& config, const std::string& source);
    /// Stores a value of a signal that has been started. Others are dropped without a word.
    void updateSignalValue(const SignalMessage* message, const std::string& source);
    /// Marks every signal as not of the current configuration; all of them stay.
    void setSignalDataInvalid();
    /// Empties the catalogue. Which loggers have answered a running cycle is kept: they are not
    /// asked again.
    void clearSignalData();

    /// Begins a cycle of configuration answers to this connection to the bus: every signal becomes
    /// invalid, and the state moves to "update". False, with nothing changed, when one is under
    /// way.
    bool beginCycle(std::uint32_t connection);
    /// Counts an answer of the running cycle, and empties the catalogue when it is the first.
    /// False, with nothing changed, while no cycle is under way.
    bool addAnswer(const std::string& source);
    /// Completes the running cycle when more loggers than `neighbours` have answered.
    void completeCycle(std::size_t neighbours);
    /// The bus connection was lost and is back, as this one. A cycle begun on an earlier one will
    /// see no more answers: nothing counts as requested any more, and the signals that the cycle
    /// made invalid are valid again, so that those that are started go on.
    void abandonCycle(std::uint32_t connection);

    /// Stores the value like updateSignalValue(), then hands a started signal to `use` in the same
    /// look-up. `use` must not call the catalogue, and neither send nor log.
    template <class Use>
    void updateAndUse(const SignalMessage& message, std::string_view source, Use&& use) {
        const MutexLocker lock(mutex_);
        SignalData* signal = find(KeyView(message.webappName, source));
        if (signal == nullptr) {
            return;
        }
        storeValue(*signal, message);
        if (signal->active) {
            std::forward<Use>(use)(*signal);
        }
    }

    /// Hands the signal, null when there is none, to `use` under the lock. `use` may send and log,
    /// but must not call the catalogue.
    template <class Use>
    void withSignal(const SignalKey& key, Use&& use) {
        const MutexLocker lock(mutex_);
        std::forward<Use>(use)(find(key));
    }

    /// Hands every signal to `use` under the lock, in the order of the keys. `use` must not call
    /// the catalogue, and neither send nor log.
    template <class Use>
    void forEachSignal(Use&& use) const {
        const MutexLocker lock(mutex_);
        for (const auto& [key, signal] : signals_) {
            use(key, signal);
        }
    }

    /// The loggers that have signals in the catalogue.
    std::set<std::string> getLoggers() const;

  private:
    using KeyView = std::pair<std::string_view, std::string_view>;
    struct KeyHash {
        std::size_t operator()(const KeyView& key) const {
            const std::hash<std::string_view> hash;
            return hash(key.first) * 31 + hash(key.second);
        }
    };

    SignalData* find(const KeyView& key) const REQUIRES(mutex_);
    SignalData& findOrInsert(const SignalKey& key) REQUIRES(mutex_);
    void clear() REQUIRES(mutex_);
    void giveUpCycle() REQUIRES(mutex_);
    static void storeValue(SignalData& signal, const SignalMessage& message);

    mutable Mutex mutex_;
    std::set<std::string> answered_
        GUARDED_BY(mutex_);  // loggers that have answered in the running cycle
    std::map<SignalKey, SignalData> signals_ GUARDED_BY(mutex_);
    /// Entries of signals_, by the running cycle.
    std::vector<SignalData*> invalidated_ GUARDED_BY(mutex_);
    /// The way of each value to its signal; refers to the keys and entries of signals_.
    std::unordered_map<KeyView, SignalData*, KeyHash> index_ GUARDED_BY(mutex_);
};

/// The one catalogue, created when the plug-in is loaded and never destroyed: the bus thread may
/// still use it while the process ends.
extern SignalInfo* signalInfo;
