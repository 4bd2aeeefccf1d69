#include "usbscan/program/Confinement.h"

#ifdef ZLK_SANITIZED

void zlk::usbscan::confine() {}

#else

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace zlk::usbscan {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
/// Calls of the x32 interface have this bit and the same architecture.
constexpr std::uint32_t foreignCalls = 0x40000000;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
constexpr std::uint32_t foreignCalls = 0x80000000;
#else
#error "The architecture's number for seccomp is missing here."
#endif

constexpr std::array denied{
    SYS_execve,          SYS_execveat,         SYS_ptrace,
    SYS_mount,           SYS_umount2,          SYS_pivot_root,
    SYS_chroot,          SYS_open_tree,        SYS_move_mount,
    SYS_fsopen,          SYS_fsconfig,         SYS_fsmount,
    SYS_fspick,          SYS_mount_setattr,    SYS_bpf,
    SYS_keyctl,          SYS_add_key,          SYS_request_key,
    SYS_io_uring_setup,  SYS_io_uring_enter,   SYS_io_uring_register,
    SYS_kexec_load,      SYS_kexec_file_load,  SYS_init_module,
    SYS_finit_module,    SYS_delete_module,    SYS_setns,
    SYS_unshare,         SYS_process_vm_readv, SYS_process_vm_writev,
    SYS_perf_event_open, SYS_userfaultfd,
};

constexpr sock_filter load(std::size_t offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

void limit(int resource, rlim_t value) {
    const rlimit both{value, value};
    ::setrlimit(resource, &both);
}

/// Programs of this filter: the checks of the architecture, a comparison for each call, and the
/// two verdicts. A jump counts the instructions that it skips.
auto filterProgram() {
    constexpr std::size_t head = 4, allow = head + denied.size(), refuse = allow + 1;
    const auto to = [](std::size_t target, std::size_t from) {
        return static_cast<std::uint8_t>(target - from - 1);
    };
    std::array<sock_filter, refuse + 1> program{};
    program[0] = load(offsetof(seccomp_data, arch));
    program[1] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, architecture, 0, to(refuse, 1));
    program[2] = load(offsetof(seccomp_data, nr));
    program[3] = BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, foreignCalls, to(refuse, 3), 0);
    for (std::size_t i = 0; i < denied.size(); ++i)
        program[head + i] =
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(denied[i]),
                     to(refuse, head + i), 0);
    program[allow] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    program[refuse] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM);
    return program;
}

}  // namespace

void confine() {
    ::prctl(PR_SET_DUMPABLE, 0);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_DATA, 64 << 20);
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return;
    auto program = filterProgram();
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    // libusb has a thread of its own already.
    ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &filter);
}

}  // namespace zlk::usbscan

#endif
