// Runs a program and has one of its system calls fail that touches a folder, or all from one on.
//
//     zlk-faults --below FOLDER --report FILE [--kind KIND --nth N --fault FAULT [--lasting]]
//                -- PROGRAM [WORD...]
//
// KIND is a word of the table below, or `any`; FAULT is the name of an error, or `short`: a read or
// write that does a part of its work. The report tells how many calls of each kind there were, and
// which was the first to fail. The exit status is the program's; 77 where the kernel doesn't let
// itself be asked.
//
// The calls are taken where they enter the kernel, from every thread, so that none slips past, as
// it would past a library that is put in front of libc. What io_uring does, and stores into mapped
// memory, aren't calls and aren't seen.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int skipped = 77;
constexpr int none = -1;
constexpr const char* any = "any";

/// Where among a call's arguments it says what it touches: a descriptor, or folder and name.
struct Place {
    int folder = none;  // none: the current one
    int name = none;
};

struct Call {
    long number;
    const char* kind;
    Place place;
    Place second{};
};

constexpr Call calls[] = {
    {SYS_openat, "open", {0, 1}},
    {SYS_openat2, "open", {0, 1}},
    {SYS_read, "read", {0}},
    {SYS_pread64, "read", {0}},
    {SYS_readv, "read", {0}},
    {SYS_preadv, "read", {0}},
    {SYS_preadv2, "read", {0}},
    {SYS_write, "write", {0}},
    {SYS_pwrite64, "write", {0}},
    {SYS_writev, "write", {0}},
    {SYS_pwritev, "write", {0}},
    {SYS_pwritev2, "write", {0}},
    {SYS_sendfile, "write", {0}},
    {SYS_copy_file_range, "write", {2}},
    {SYS_splice, "write", {2}},
    {SYS_fsync, "sync", {0}},
    {SYS_fdatasync, "sync", {0}},
    {SYS_syncfs, "sync", {0}},
    {SYS_sync_file_range, "sync", {0}},
    {SYS_renameat, "rename", {0, 1}, {2, 3}},
    {SYS_renameat2, "rename", {0, 1}, {2, 3}},
    {SYS_linkat, "rename", {0, 1}, {2, 3}},
    {SYS_fadvise64, "advise", {0}},
    {SYS_ftruncate, "resize", {0}},
    {SYS_fallocate, "resize", {0}},
    {SYS_mkdirat, "mkdir", {0, 1}},
    {SYS_unlinkat, "unlink", {0, 1}},
    {SYS_fstat, "stat", {0}},
    {SYS_newfstatat, "stat", {0, 1}},
    {SYS_statx, "stat", {0, 1}},
    {SYS_faccessat, "stat", {0, 1}},
    {SYS_faccessat2, "stat", {0, 1}},
    {SYS_fstatfs, "stat", {0}},
    {SYS_statfs, "stat", {none, 0}},
    {SYS_readlinkat, "stat", {0, 1}},
    {SYS_getdents64, "list", {0}},
    {SYS_utimensat, "times", {0, 1}},
    {SYS_fchmod, "mode", {0}},
    {SYS_fchmodat, "mode", {0, 1}},
    {SYS_flock, "lock", {0}},
    {SYS_mmap, "map", {4}},
#ifdef SYS_open  // Younger architectures have the calls with a folder only.
    {SYS_open, "open", {none, 0}},
    {SYS_creat, "open", {none, 0}},
    {SYS_rename, "rename", {none, 0}, {none, 1}},
    {SYS_link, "rename", {none, 0}, {none, 1}},
    {SYS_mkdir, "mkdir", {none, 0}},
    {SYS_unlink, "unlink", {none, 0}},
    {SYS_rmdir, "unlink", {none, 0}},
    {SYS_stat, "stat", {none, 0}},
    {SYS_lstat, "stat", {none, 0}},
    {SYS_access, "stat", {none, 0}},
    {SYS_readlink, "stat", {none, 0}},
#endif
};

const Call* callOf(long number) {
    const auto found = std::ranges::find(calls, number, &Call::number);
    return found == std::end(calls) ? nullptr : found;
}

struct Wish {
    std::string below, report, kind, fault;
    unsigned long nth = 0;
    bool isLasting = false;
    char** program = nullptr;
};

[[noreturn]] void stop(const char* doing, int status = skipped) {
    std::fprintf(stderr, "zlk-faults: %s: %s\n", doing, std::strerror(errno));
    std::exit(status);
}

/// Has the kernel ask about this process's calls, and returns the descriptor on which it does.
int askAboutCalls() {
    std::vector<sock_filter> program{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const Call& call : calls) {
        program.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call.number), 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    // Without this only root may install a filter.
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) stop("no_new_privs");
    const long listener =
        ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter);
    if (listener < 0) stop("seccomp");
    return static_cast<int>(listener);
}

/// A message of one byte that carries a descriptor.
struct Parcel {
    char byte = 0;
    iovec content{&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))]{};
    msghdr message{};

    Parcel() {
        message.msg_iov = &content;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
    }
};

bool send(int socket, int descriptor) {
    Parcel parcel;
    cmsghdr* const header = CMSG_FIRSTHDR(&parcel.message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    return ::sendmsg(socket, &parcel.message, 0) == 1;
}

/// `none` where the sender has ended.
int receive(int socket) {
    Parcel parcel;
    int descriptor = none;
    if (::recvmsg(socket, &parcel.message, MSG_CMSG_CLOEXEC) != 1) return none;
    std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&parcel.message)), sizeof descriptor);
    return descriptor;
}

std::string linkTarget(const std::string& link) {
    std::error_code failed;
    return fs::read_symlink(link, failed).string();
}

/// The calls of one program, counted, and one of them or more made to fail.
class Supervisor {
  public:
    Supervisor(const Wish& wish, int child, int listener)
        : wish_(wish),
          process_(static_cast<int>(::syscall(SYS_pidfd_open, child, 0))),
          listener_(listener) {
        if (process_ < 0) stop("pidfd_open");
        // Younger kernels go straight from the program to us and back, where they are told to. On a
        // busy machine each call would else wait for its turn twice.
        constexpr std::uint64_t wakeAtOnce = 1;
        ::ioctl(listener_, _IOW('!', 4, std::uint64_t), wakeAtOnce);
    }

    /// Until the program ends.
    void run() {
        pollfd ready[] = {{process_, POLLIN, 0}, {listener_, POLLIN, 0}};
        while (::poll(ready, std::size(ready), -1) > 0 || errno == EINTR) {
            if (ready[0].revents) return;
            if (ready[1].revents & POLLIN) answerOne();
        }
    }

    void writeReport() const {
        std::ofstream report(wish_.report);
        report << "{\"hit\": \"" << hit_ << "\", \"seen\": {";
        const char* separator = "";
        for (const auto& [kind, count] : seen_) {
            report << separator << '"' << kind << "\": " << count;
            separator = ", ";
        }
        report << "}}\n";
    }

  private:
    using Request = seccomp_notif;
    using Answer = seccomp_notif_resp;

    void answerOne() {
        Request request{};
        // A thread may have been killed before it was asked about.
        if (::ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &request) != 0) return;
        Answer answer{};
        answer.id = request.id;
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
        if (const Call* const call = callOf(request.data.nr)) {
            const std::string touched = touchedBelow(request, *call);
            if (!touched.empty() && isItsTurn(*call)) fail(request, *call, touched, answer);
        }
        ::ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &answer);
    }

    bool isItsTurn(const Call& call) {
        const unsigned long ofKind = ++seen_[call.kind], ofAny = ++seen_[any];
        if (wish_.nth == 0 || (wish_.kind != any && wish_.kind != call.kind)) return false;
        const unsigned long number = wish_.kind == any ? ofAny : ofKind;
        return wish_.isLasting ? number >= wish_.nth : number == wish_.nth;
    }

    void fail(const Request& request, const Call& call, const std::string& touched,
              Answer& answer) {
        if (wish_.fault == "short") {
            const auto done = doHalf(request);
            if (!done) return;
            answer.flags = 0;
            answer.val = *done;
        } else {
            answer.flags = 0;
            answer.error = wish_.fault == "ENOSPC" ? -ENOSPC : -EIO;
        }
        if (hit_.empty()) hit_ = std::string(call.kind) + " of " + touched;
    }

    /// Does the first half of a read or write in the program's place; none where that isn't one.
    std::optional<long> doHalf(const Request& request) {
        constexpr std::size_t sector = 4096;  // a direct read wants whole ones
        const auto& words = request.data.args;
        const long number = request.data.nr;
        const bool reads = number == SYS_read || number == SYS_pread64;
        if (!reads && number != SYS_write && number != SYS_pwrite64) return std::nullopt;
        std::size_t size = words[2] / 2;
        if (size > sector) size -= size % sector;
        if (size == 0) return std::nullopt;
        // The descriptor's copy has the position in common with it.
        const int file = static_cast<int>(::syscall(SYS_pidfd_getfd, process_, words[0], 0));
        if (file < 0) stop("pidfd_getfd", EXIT_FAILURE);
        void* const block =
            ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) stop("mmap", EXIT_FAILURE);
        const iovec here{block, size}, there{reinterpret_cast<void*>(words[1]), size};
        const auto task = static_cast<pid_t>(request.pid);
        if (!reads) ::process_vm_readv(task, &here, 1, &there, 1, 0);
        const long done = ::syscall(number, file, block, size, words[3]);
        if (reads && done > 0) ::process_vm_writev(task, &here, 1, &there, 1, 0);
        ::munmap(block, size);
        ::close(file);
        return done < 0 ? std::nullopt : std::optional(done);
    }

    /// What the call touches in the folder; empty if nothing.
    std::string touchedBelow(const Request& request, const Call& call) const {
        for (const Place& place : {call.place, call.second}) {
            if (place.folder == none && place.name == none) continue;
            const std::string path = pathOf(request, place);
            if (path == wish_.below || path.starts_with(wish_.below + '/')) return path;
        }
        return {};
    }

    static std::string pathOf(const Request& request, const Place& place) {
        const std::string task = "/proc/" + std::to_string(request.pid);
        std::string folder = linkTarget(task + "/cwd");
        if (place.folder != none) {
            const int descriptor = static_cast<int>(request.data.args[place.folder]);
            if (descriptor != AT_FDCWD)
                folder = linkTarget(task + "/fd/" + std::to_string(descriptor));
        }
        if (place.name == none) return folder;
        const std::string name = textAt(request, request.data.args[place.name]);
        constexpr std::string_view descriptors = "/proc/self/fd/";
        if (name.starts_with(descriptors))
            return linkTarget(task + "/fd/" + name.substr(descriptors.size()));
        // No name at all stands for the descriptor.
        if (name.empty()) return folder;
        std::string path = (fs::path(folder) / name).lexically_normal().string();
        if (path.size() > 1 && path.ends_with('/')) path.pop_back();
        return path;
    }

    /// A text of the program; it may end close in front of memory that isn't there.
    static std::string textAt(const Request& request, std::uint64_t address) {
        constexpr std::uint64_t page = 4096;
        std::string text;
        while (address != 0 && text.size() < PATH_MAX) {
            char piece[page];
            const std::size_t size = page - address % page;
            const iovec here{piece, size}, there{reinterpret_cast<void*>(address), size};
            const ssize_t got =
                ::process_vm_readv(static_cast<pid_t>(request.pid), &here, 1, &there, 1, 0);
            if (got <= 0) break;
            const std::string_view read(piece, static_cast<std::size_t>(got));
            const std::size_t end = read.find('\0');
            text += read.substr(0, end);
            if (end != read.npos) break;
            address += static_cast<std::uint64_t>(got);
        }
        return text;
    }

    const Wish& wish_;
    const int process_, listener_;
    std::map<std::string, unsigned long> seen_;
    std::string hit_;
};

/// A thread that asks, and we who answer, never run at the same time.
void stayOnThisProcessor() {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(::sched_getcpu(), &processors);
    ::sched_setaffinity(0, sizeof processors, &processors);
}

[[noreturn]] void runProgram(const Wish& wish, int socket) {
    // Whoever gives this tool up as hanging has the program in mind.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (!send(socket, askAboutCalls())) ::_exit(skipped);
    ::execvp(wish.program[0], wish.program);
    stop(wish.program[0], 127);
}

Wish wishOf(char** word) {
    Wish wish;
    while (*++word && std::string_view(*word) != "--") {
        const std::string_view option = *word;
        if (option == "--lasting") {
            wish.isLasting = true;
            continue;
        }
        const char* const value = *++word;
        if (!value) break;
        if (option == "--below") wish.below = fs::canonical(value).string();
        if (option == "--report") wish.report = value;
        if (option == "--kind") wish.kind = value;
        if (option == "--fault") wish.fault = value;
        if (option == "--nth") wish.nth = std::strtoul(value, nullptr, 10);
    }
    if (*word) wish.program = word + 1;
    return wish;
}

}  // namespace

int main(int, char** words) {
    const Wish wish = wishOf(words);
    if (!wish.program || !*wish.program || wish.below.empty() || wish.report.empty()) {
        std::fputs("usage: see the head of faults.cpp\n", stderr);
        return EXIT_FAILURE;
    }
    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) stop("socketpair");
    stayOnThisProcessor();
    const pid_t child = ::fork();
    if (child < 0) stop("fork");
    if (child == 0) runProgram(wish, sockets[1]);
    ::close(sockets[1]);
    const int listener = receive(sockets[0]);
    if (listener != none) {
        Supervisor supervisor(wish, child, listener);
        supervisor.run();
        supervisor.writeReport();
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
