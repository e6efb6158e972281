// The way of the events of four loggers to the browser's list: merged, and turned into JSON.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "host/websocket_plugin.h"
#include "modules/trigger/trigger_catalogue.h"
#include "modules/trigger/trigger_module.h"
#include "network/ksl_info.h"
#include "setup/lv_setup.h"

namespace {

using List = KRPResponseGetEventList;

constexpr int kLoggers = 4;
constexpr int kRounds = 9;

std::string mac(int logger) {
    return "02:00:00:00:00:0" + std::to_string(logger + 1);
}

/// The events of one logger in the order of their times, on a clock of its own.
List eventsOf(int logger, int count) {
    std::mt19937_64 random(static_cast<unsigned>(logger) + 1);
    std::uniform_int_distribution<std::uint64_t> pause(1, 2000000);
    List list;
    std::uint64_t time = 1700000000000000U;
    for (int i = 0; i < count; ++i) {
        time += pause(random);
        list.events.push_back({time, "Europe/Berlin", i + 1,
                               "marker " + std::to_string(logger) + "-" + std::to_string(i)});
    }
    return list;
}

/// The processor time that this process has taken: other work on the machine does not count.
double milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <class Work>
double timeOf(Work work) {
    const double start = milliseconds();
    work();
    return milliseconds() - start;
}

/// A session whose browser counts the bytes that it is sent.
class CountingSession {
  public:
    CountingSession() {
        server_.size = sizeof server_;
        server_.version = WEBSOCKET_SERVER_VERSION;
        server_.state = this;
        server_.send = [](const WebSocketServer* server, int, const unsigned char*,
                          std::size_t size) {
            static_cast<CountingSession*>(server->state)->bytes_ += size;
            return size;
        };
        socket_.server = &server_;
        setup_.socket = &socket_;
        stp = &setup_;
    }
    ~CountingSession() { stp = nullptr; }
    CountingSession(const CountingSession&) = delete;
    CountingSession& operator=(const CountingSession&) = delete;

    std::size_t bytes() const { return bytes_; }

  private:
    WebSocketServer server_{};
    LvSocket socket_{};
    LvSetup setup_;
    std::size_t bytes_ = 0;
};

struct Figures {
    double merge = 0.0;       // all answers stored, one merge
    double stableSort = 0.0;  // of the same events in one vector
    double collection = 0.0;  // four answers, each merged and sent as JSON
};

double mergeOnce(const std::vector<List>& lists) {
    TriggerInfo info;
    for (int logger = 0; logger < kLoggers; ++logger) {
        info.addTriggerMessage(&lists[static_cast<std::size_t>(logger)], mac(logger));
    }
    TriggerInfo::EventList merged;
    const double time = timeOf([&] { merged = info.mergeTrigger(); });
    if (merged.size() != kLoggers * lists.front().events.size()) {
        std::fprintf(stderr, "the merge lost events\n");
        std::exit(EXIT_FAILURE);
    }
    return time;
}

double sortOnce(const std::vector<List>& lists) {
    std::vector<List::event_t> events;
    for (const List& list : lists) {
        events.insert(events.end(), list.events.begin(), list.events.end());
    }
    return timeOf([&] {
        std::stable_sort(events.begin(), events.end(),
                         [](const auto& a, const auto& b) { return a.timestamp < b.timestamp; });
    });
}

double collectOnce(const std::vector<List>& lists) {
    triggerInfo->resetTriggerMap();
    return timeOf([&] {
        for (int logger = 0; logger < kLoggers; ++logger) {
            handleTriggerMessages(&lists[static_cast<std::size_t>(logger)], mac(logger));
        }
    });
}

Figures measure(int count) {
    std::vector<List> lists;
    for (int logger = 0; logger < kLoggers; ++logger) {
        lists.push_back(eventsOf(logger, count));
    }
    // The three take turns, so that a slow moment of the machine meets all of them.
    std::vector<double> merges;
    std::vector<double> sorts;
    std::vector<double> collections;
    for (int round = 0; round < kRounds; ++round) {
        sorts.push_back(sortOnce(lists));
        merges.push_back(mergeOnce(lists));
        collections.push_back(collectOnce(lists));
    }
    return {median(merges), median(sorts), median(collections)};
}

double nLogN(int count) {
    const double n = kLoggers * static_cast<double>(count);
    double logarithm = 0.0;
    for (double rest = n; rest > 1.0; rest /= 2.0) {
        logarithm += rest < 2.0 ? rest - 1.0 : 1.0;
    }
    return n * logarithm;
}

}  // namespace

int main() {
    const CountingSession session;
    for (int logger = 0; logger < kLoggers; ++logger) {
        const Simple1MessageResponse<89, long long> offset(logger * 1000LL);
        kslInfo->addKslTimeOffsetMessage(&offset, mac(logger));
    }
    kslInfo->setNeighbours({mac(1), mac(2), mac(3)});
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;

    std::printf("events per logger   merge/ms  stable_sort/ms  ratio  four answers to JSON/ms\n");
    Figures tenThousand;
    Figures fiftyThousand;
    for (const int count : {1000, 10000, 50000}) {
        const Figures figures = measure(count);
        std::printf("%17d %10.2f %15.2f %6.2f %24.2f\n", count, figures.merge, figures.stableSort,
                    figures.merge / figures.stableSort, figures.collection);
        (count == 10000 ? tenThousand : fiftyThousand) = figures;
    }
    const double expected = nLogN(50000) / nLogN(10000);
    std::printf("growth from 10 000 to 50 000 against n log n: merge %.2f, answers to JSON %.2f\n",
                fiftyThousand.merge / tenThousand.merge / expected,
                fiftyThousand.collection / tenThousand.collection / expected);
    std::printf("sent to the browser: %zu bytes\n", session.bytes());
    return EXIT_SUCCESS;
}
