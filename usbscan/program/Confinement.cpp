#include "usbscan/program/Confinement.h"

#ifdef ZLK_SANITIZED

void zlk::usbscan::confine() {}

#else

#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <cerrno>

namespace zlk::usbscan {
namespace {

// What would reach further than the device: other programs, other processes, mounts, the kernel.
constexpr int denied[] = {
    SCMP_SYS(execve),          SCMP_SYS(execveat),         SCMP_SYS(ptrace),
    SCMP_SYS(mount),           SCMP_SYS(umount2),          SCMP_SYS(pivot_root),
    SCMP_SYS(chroot),          SCMP_SYS(open_tree),        SCMP_SYS(move_mount),
    SCMP_SYS(fsopen),          SCMP_SYS(fsconfig),         SCMP_SYS(fsmount),
    SCMP_SYS(fspick),          SCMP_SYS(mount_setattr),    SCMP_SYS(bpf),
    SCMP_SYS(keyctl),          SCMP_SYS(add_key),          SCMP_SYS(request_key),
    SCMP_SYS(io_uring_setup),  SCMP_SYS(io_uring_enter),   SCMP_SYS(io_uring_register),
    SCMP_SYS(kexec_load),      SCMP_SYS(kexec_file_load),  SCMP_SYS(init_module),
    SCMP_SYS(finit_module),    SCMP_SYS(delete_module),    SCMP_SYS(setns),
    SCMP_SYS(unshare),         SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
    SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd),
};

void limit(int resource, rlim_t value) {
    const rlimit both{value, value};
    ::setrlimit(resource, &both);
}

}  // namespace

void confine() {
    ::prctl(PR_SET_DUMPABLE, 0);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_DATA, 64 << 20);
    const scmp_filter_ctx filter = ::seccomp_init(SCMP_ACT_ALLOW);
    if (!filter) return;
    // In the tables of foreign architectures the same calls have other numbers, so every call by
    // way of such a table is refused.
    ::seccomp_attr_set(filter, SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_ERRNO(EPERM));
    // The filter has to hold for libusb's own thread too, which is running already.
    ::seccomp_attr_set(filter, SCMP_FLTATR_CTL_TSYNC, 1);
    for (const int call : denied) ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 0);
    ::seccomp_load(filter);
    ::seccomp_release(filter);
}

}  // namespace zlk::usbscan

#endif
