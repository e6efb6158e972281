#include "host/apache/landlock.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace websocket {

namespace {

// The kernel's interface, which never changes but grows. The system's own header may be older than
// the kernel that this runs on, so nothing is taken from there.

// System calls have these numbers on every architecture.
constexpr long kCreateRuleset = 444;
constexpr long kAddRule = 445;
constexpr long kRestrictSelf = 446;
constexpr unsigned kCreateRulesetVersion = 1;

constexpr int kRulePathBeneath = 1;
constexpr int kRuleNetPort = 2;

constexpr int kVersionWithRefer = 2;
constexpr int kVersionWithTruncate = 3;
constexpr int kVersionWithPorts = 4;
constexpr int kVersionWithIoctl = 5;
constexpr int kVersionWithScopes = 6;

constexpr std::uint64_t bit(unsigned number) {
    return std::uint64_t{1} << number;
}

constexpr std::uint64_t kWriteFile = bit(1);
constexpr std::uint64_t kReadFile = bit(2);
constexpr std::uint64_t kReadDir = bit(3);
constexpr std::uint64_t kRemoveDir = bit(4);
constexpr std::uint64_t kRemoveFile = bit(5);
constexpr std::uint64_t kMakeDir = bit(7);
constexpr std::uint64_t kMakeReg = bit(8);
/// Executing, the ones named here, and making what is no regular file.
constexpr std::uint64_t kAllOfVersion1 = bit(13) - 1;
constexpr std::uint64_t kRefer = bit(13);
constexpr std::uint64_t kTruncate = bit(14);
constexpr std::uint64_t kIoctlDevice = bit(15);
/// What can be done with a file; the others are for directories, and no rule for a file may name
/// them.
constexpr std::uint64_t kFileRights = bit(0) | kWriteFile | kReadFile | kTruncate | kIoctlDevice;

constexpr std::uint64_t kBindTcp = bit(0);
constexpr std::uint64_t kConnectTcp = bit(1);
/// Abstract sockets and signals of processes that are not confined in the same way.
constexpr std::uint64_t kScopes = bit(0) | bit(1);

struct RulesetAttributes {
    std::uint64_t files;
    std::uint64_t ports;
    std::uint64_t scopes;
};

struct [[gnu::packed]] PathRule {
    std::uint64_t allowed;
    std::int32_t parent;
};

struct PortRule {
    std::uint64_t allowed;
    std::uint64_t port;
};

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::uint64_t filesOf(int version) {
    return kAllOfVersion1 | (version >= kVersionWithRefer ? kRefer : 0) |
           (version >= kVersionWithTruncate ? kTruncate : 0) |
           (version >= kVersionWithIoctl ? kIoctlDevice : 0);
}

/// An older kernel takes no larger record than it knows.
std::size_t attributesSize(int version) {
    if (version < kVersionWithPorts) {
        return sizeof(std::uint64_t);
    }
    return version < kVersionWithScopes ? 2 * sizeof(std::uint64_t) : sizeof(RulesetAttributes);
}

std::uint64_t rightsOf(Landlock::Access access) {
    constexpr std::uint64_t kRead = kReadFile | kReadDir;
    constexpr std::uint64_t kMake = kWriteFile | kTruncate | kMakeReg | kRemoveFile;
    switch (access) {
        case Landlock::Access::Read:
            return kRead;
        case Landlock::Access::Make:
            return kMake;
        case Landlock::Access::Write:
            return kRead | kMake | kMakeDir | kRemoveDir;
    }
    return 0;
}

}  // namespace

int Landlock::version() {
    const long version = ::syscall(kCreateRuleset, nullptr, 0, kCreateRulesetVersion);
    return version > 0 ? static_cast<int>(version) : 0;
}

Landlock::Landlock(bool ports)
    : version_(version()),
      handledFiles_(filesOf(version_)),
      handlesPorts_(ports && version_ >= kVersionWithPorts) {
    const RulesetAttributes attributes{handledFiles_, handlesPorts_ ? kBindTcp | kConnectTcp : 0,
                                       version_ >= kVersionWithScopes ? kScopes : 0};
    rules_ = base::FileDescriptor(
        static_cast<int>(::syscall(kCreateRuleset, &attributes, attributesSize(version_), 0U)));
    if (rules_.get() < 0) {
        fail("landlock_create_ruleset");
    }
}

void Landlock::allow(const std::string& path, Access access) {
    const base::FileDescriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
    if (place.get() < 0) {
        if (errno == ENOENT || errno == ENOTDIR || errno == EACCES) {
            return;
        }
        fail(path);
    }
    struct stat status {};
    if (::fstat(place.get(), &status) != 0) {
        fail(path);
    }
    const std::uint64_t possible =
        S_ISDIR(status.st_mode) ? handledFiles_ : handledFiles_ & kFileRights;
    const PathRule rule{rightsOf(access) & possible, place.get()};
    if (rule.allowed != 0 && ::syscall(kAddRule, rules_.get(), kRulePathBeneath, &rule, 0U) != 0) {
        fail("landlock_add_rule for " + path);
    }
}

void Landlock::allowConnect(std::uint16_t port) {
    const PortRule rule{kConnectTcp, port};
    if (handlesPorts_ && ::syscall(kAddRule, rules_.get(), kRuleNetPort, &rule, 0U) != 0) {
        fail("landlock_add_rule for port " + std::to_string(port));
    }
}

void Landlock::enforce() {
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        fail("no_new_privs");
    }
    if (::syscall(kRestrictSelf, rules_.get(), 0U) != 0) {
        fail("landlock_restrict_self");
    }
}

}  // namespace websocket
