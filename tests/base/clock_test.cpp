// The clock, the exception, the sleep and the wait.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <limits>

#include "base/clock.h"
#include "base/file_descriptor.h"
#include "base/kr_exception.h"
#include "base/krselect.h"
#include "base/microsleep.h"
#include "base/mutex.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(KrSystem, TellsTheTimeInMicroseconds) {
    const auto before = static_cast<std::uint64_t>(std::time(nullptr)) * 1'000'000;
    const std::uint64_t now = KRSystem::getTimeOfDay();
    const std::uint64_t later = getTimeOfDay();
    EXPECT_GE(now, before);
    EXPECT_LT(now, before + 10'000'000);
    EXPECT_GE(later, now);
}

TEST(KrSystem, WritesTimesInUtc) {
    setenv("TZ", "America/New_York", 1);
    tzset();
    EXPECT_EQ(KRSystem::uint64ToUTCTimeString(0, true), "1970-01-01 00:00:00.000");
    EXPECT_EQ(KRSystem::uint64ToUTCTimeString(1'700'000'000'012'999, true),
              "2023-11-14 22:13:20.012");
    EXPECT_EQ(KRSystem::uint64ToUTCTimeString(1'700'000'000'999'999, false), "2023-11-14 22:13:20");
    EXPECT_EQ(KRSystem::uint64ToUTCTimeString(951'782'400'000'000, false), "2000-02-29 00:00:00");
    const std::string future = KRSystem::uint64ToUTCTimeString(4'294'967'296'000'000, false);
    EXPECT_EQ(future, sizeof(std::time_t) > 4 ? "2106-02-07 06:28:16" : "4294967296000000");
}

TEST(KrSystem, WritesAnyTimeSomehow) {
    EXPECT_FALSE(
        KRSystem::uint64ToUTCTimeString(std::numeric_limits<std::uint64_t>::max(), true).empty());
}

TEST(KrException, SaysWhatItWasGivenAndWhatWasStreamed) {
    const KRException plain("[ERROR] cannot create");
    EXPECT_STREQ(plain.what(), "[ERROR] cannot create");
    KRException streamed;
    streamed << "code " << 7;
    EXPECT_STREQ(streamed.what(), "code 7");
    KRException both("text ");
    both << 1;
    EXPECT_STREQ(both.what(), "text 1");
}

TEST(KrException, TakesItsTextAlongWhenThrown) {
    try {
        KRException problem("text ");
        problem << 42;
        throw problem;
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), "text 42");
    }
    KRException assigned("old");
    assigned << " and more";
    assigned = KRException("new");
    EXPECT_STREQ(assigned.what(), "new");
}

void ignoreSignal(int) {}

// Interrupts the process every few milliseconds.
class Interruptions {
  public:
    Interruptions() {
        struct sigaction action {};
        action.sa_handler = ignoreSignal;  // without SA_RESTART
        sigaction(SIGALRM, &action, nullptr);
        set(5'000);
    }
    ~Interruptions() { set(0); }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

  private:
    static void set(suseconds_t microseconds) {
        const itimerval timer{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
};

TEST(Microsleep, SleepsForItsFullTimeInSpiteOfSignals) {
    const Interruptions interruptions;
    const auto before = Clock::now();
    microsleep(60'000, false);
    EXPECT_GE(Clock::now() - before, 60ms);
}

TEST(Microsleep, CanBeInterruptible) {
    const Interruptions interruptions;
    const auto before = Clock::now();
    microsleep(60'000'000, true);
    EXPECT_LT(Clock::now() - before, 60s);
}

TEST(Microsleep, ReturnsAtOnceForNothing) {
    const auto before = Clock::now();
    microsleep(0, false);
    EXPECT_LT(Clock::now() - before, 60s);
}

class Pipe {
  public:
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        read_ = base::FileDescriptor(ends[0]);
        write_ = base::FileDescriptor(ends[1]);
    }
    int readEnd() const { return read_.get(); }
    int writeEnd() const { return write_.get(); }
    void fill() const { EXPECT_EQ(write(writeEnd(), "x", 1), 1); }
    void closeWriteEnd() { write_ = base::FileDescriptor(); }

  private:
    base::FileDescriptor read_;
    base::FileDescriptor write_;
};

TEST(FdSet, HoldsDescriptors) {
    FdSet set;
    set.set(3);
    set.set(3);
    set.set(100'000);
    set.set(-1);
    EXPECT_EQ(set.descriptors(), (std::vector<int>{3, 100'000}));
    EXPECT_TRUE(set.isSet(3));
    EXPECT_FALSE(set.isSet(-1));
    set.clear(3);
    set.clear(4);
    EXPECT_FALSE(set.isSet(3));
    set.zero();
    EXPECT_TRUE(set.descriptors().empty());
}

TEST(Krselect, LeavesTheReadyDescriptorsInTheSets) {
    const Pipe full;
    const Pipe empty;
    full.fill();
    FdSet readSet;
    readSet.set(full.readEnd());
    readSet.set(empty.readEnd());
    FdSet writeSet;
    writeSet.set(empty.writeEnd());
    const timespec timeout{10, 0};
    EXPECT_EQ(krselect(&readSet, &writeSet, nullptr, &timeout, nullptr), 2);
    EXPECT_TRUE(readSet.isSet(full.readEnd()));
    EXPECT_FALSE(readSet.isSet(empty.readEnd()));
    EXPECT_TRUE(writeSet.isSet(empty.writeEnd()));
}

TEST(Krselect, EmptiesTheSetsAfterItsTime) {
    const Pipe empty;
    FdSet readSet;
    readSet.set(empty.readEnd());
    const timespec timeout{0, 20'000'000};
    const auto before = Clock::now();
    EXPECT_EQ(krselect(&readSet, nullptr, nullptr, &timeout, nullptr), 0);
    EXPECT_GE(Clock::now() - before, 20ms);
    EXPECT_TRUE(readSet.descriptors().empty());
}

TEST(Krselect, FindsAClosedPeerReadable) {
    Pipe pipe;
    pipe.closeWriteEnd();
    FdSet readSet;
    readSet.set(pipe.readEnd());
    EXPECT_EQ(krselect(&readSet, nullptr, nullptr, nullptr, nullptr), 1);
}

TEST(Krselect, TellsThatASignalCame) {
    const Interruptions interruptions;
    const Pipe empty;
    FdSet readSet;
    readSet.set(empty.readEnd());
    const timespec timeout{10, 0};
    EXPECT_EQ(krselect(&readSet, nullptr, nullptr, &timeout, nullptr), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_TRUE(readSet.isSet(empty.readEnd())) << "the set is left alone";
}

TEST(Krselect, HoldsTheSignalMaskMeanwhile) {
    const Interruptions interruptions;
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGALRM);
    const timespec timeout{0, 50'000'000};
    EXPECT_EQ(krselect(nullptr, nullptr, nullptr, &timeout, &mask), 0);
}

TEST(Krselect, RefusesAClosedDescriptor) {
    int closed = -1;
    {
        const Pipe pipe;
        closed = pipe.readEnd();
    }
    FdSet readSet;
    readSet.set(closed);
    const timespec timeout{0, 0};
    EXPECT_EQ(krselect(&readSet, nullptr, nullptr, &timeout, nullptr), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(Krselect, TakesDescriptorsBeyondTheSizeOfTheSystemsOwnSet) {
    const rlimit limit{4096, 4096};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    const Pipe pipe;
    const base::FileDescriptor high(dup2(pipe.readEnd(), 2000));
    ASSERT_EQ(high.get(), 2000);
    pipe.fill();
    FdSet readSet;
    readSet.set(high.get());
    EXPECT_EQ(krselect(&readSet, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(readSet.isSet(2000));
}

TEST(Mutex, IsHeldForALockersBlock) {
    Mutex mutex;
    {
        const MutexLocker locker(mutex);
        EXPECT_FALSE(mutex.try_lock());
    }
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

}  // namespace
