#include "host/apache/system_calls.h"

#include <sched.h>
#include <seccomp.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <type_traits>

namespace websocket {

namespace {

/// By name: which of them there are depends on the architecture and on the library's age.
constexpr const char* kForbidden[] = {
    // other programs and processes
    "execve", "execveat", "ptrace", "process_vm_readv", "process_vm_writev", "process_madvise",
    "pidfd_getfd", "kcmp",
    // namespaces and mounts
    "unshare", "setns", "mount", "umount", "umount2", "pivot_root", "chroot", "move_mount",
    "open_tree", "fsopen", "fsconfig", "fsmount", "fspick", "mount_setattr",
    // keys, modules, the machine itself
    "add_key", "request_key", "keyctl", "init_module", "finit_module", "delete_module",
    "kexec_load", "kexec_file_load", "reboot", "swapon", "swapoff", "acct", "quotactl",
    "quotactl_fd", "syslog", "vhangup", "sethostname", "setdomainname", "settimeofday", "stime",
    "clock_settime", "clock_settime64", "clock_adjtime", "clock_adjtime64", "adjtimex", "iopl",
    "ioperm", "modify_ldt", "vm86", "vm86old", "uselib", "nfsservctl", "lookup_dcookie",
    // files past their names
    "open_by_handle_at", "name_to_handle_at", "mknod", "mknodat", "fanotify_init",
    // interfaces of the kernel with a history
    "bpf", "perf_event_open", "userfaultfd", "io_uring_setup", "io_uring_enter",
    "io_uring_register"};

/// New namespaces, which clone() can make besides threads.
constexpr unsigned kNamespaces[] = {CLONE_NEWNS,   CLONE_NEWCGROUP, CLONE_NEWUTS, CLONE_NEWIPC,
                                    CLONE_NEWUSER, CLONE_NEWPID,    CLONE_NEWNET};

void check(int result, const char* what) {
    if (result != 0) {
        throw std::system_error(-result, std::generic_category(), what);
    }
}

}  // namespace

void restrictSystemCalls() {
    using Filter = std::remove_pointer_t<scmp_filter_ctx>;
    const std::unique_ptr<Filter, decltype(&seccomp_release)> filter(seccomp_init(SCMP_ACT_ALLOW),
                                                                     &seccomp_release);
    if (filter == nullptr) {
        throw std::system_error(ENOMEM, std::generic_category(), "seccomp_init");
    }
    for (const char* name : kForbidden) {
        const int number = seccomp_syscall_resolve_name(name);
        if (number != __NR_SCMP_ERROR) {
            check(seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), number, 0), name);
        }
    }
    for (const unsigned flag : kNamespaces) {
        const scmp_arg_cmp isSet{0, SCMP_CMP_MASKED_EQ, flag, flag};
        check(
            seccomp_rule_add_array(filter.get(), SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1, &isSet),
            "clone");
    }
    // Its arguments are in memory, where the filter cannot look. Not being there at all makes the C
    // library start threads with clone(); not being permitted would leave it without threads.
    check(seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS),
                           seccomp_syscall_resolve_name("clone3"), 0),
          "clone3");
    check(seccomp_load(filter.get()), "seccomp_load");
}

}  // namespace websocket
