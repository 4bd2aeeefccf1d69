// Measures the PTP stack with the virtual camera that is plugged into this machine. In the first
// three cases the same amount of data is also sent over a bare socket between two processes, which
// is the least that any solution has to do, and the CPU seconds that this process spends on the
// camera's part are printed. The first argument says what to measure; times are in seconds:
//   object HANDLE SIZE      getObject and a socket
//   pieces HANDLE SIZE      the same in getPartialObject of 256 KiB; also by how many KiB memory
//                           grew
//   transactions            many small transactions, and round trips on a socket; also how many
//   rate COUNT              that many small transactions
//   walk                    the transactions of a listing
//   unload                  the transactions of reading every object

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "ptp/ZlPTPdrv.h"

using namespace zlk;

namespace {

using Clock = std::chrono::steady_clock;

// Measurements against a socket are repeated so often, and the best one counts.
constexpr int rounds = 15;
constexpr std::uint32_t pieceSize = 256 * 1024;
constexpr std::uint32_t readSize = 32 * 1024;  // what the PTP engine asks for at a time

template <class Body>
double secondsOf(Body body) {
    const Clock::time_point start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// User and system time of this process.
double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The peak of this process's memory so far.
long residentKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::strtol(line.c_str() + 6, nullptr, 10);
    return 0;
}

/// A request to the bare server: which part of its bytes.
struct Wanted {
    std::uint32_t offset, size;
};

/// A child process that does over a socket pair what the camera does over its host: it has `most`
/// bytes, and sends the part that it is asked for.
class BareServer {
  public:
    explicit BareServer(std::size_t most) {
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) std::abort();
        socket_ = pair[0];
        child_ = fork();
        if (child_ != 0) {
            close(pair[1]);
            return;
        }
        close(pair[0]);
        const std::vector<char> bytes(most, 'x');
        for (Wanted wanted; recv(pair[1], &wanted, sizeof wanted, 0) == sizeof wanted;)
            for (std::uint32_t sent = 0; sent < wanted.size;) {
                const ssize_t count = ::send(pair[1], bytes.data() + wanted.offset + sent,
                                             std::min(wanted.size - sent, pieceSize), MSG_NOSIGNAL);
                if (count <= 0) _exit(1);
                sent += static_cast<std::uint32_t>(count);
            }
        _exit(0);
    }
    ~BareServer() {
        close(socket_);
        waitpid(child_, nullptr, 0);
    }
    BareServer(const BareServer&) = delete;
    BareServer& operator=(const BareServer&) = delete;

    void ask(Wanted wanted, std::uint8_t* target) const {
        if (::send(socket_, &wanted, sizeof wanted, MSG_NOSIGNAL) != sizeof wanted) std::abort();
        // Read in the portions in which the engine reads, to be comparable.
        for (std::uint32_t done = 0; done < wanted.size;) {
            const ssize_t count =
                read(socket_, target + done, std::min(wanted.size - done, readSize));
            if (count <= 0) std::abort();
            done += static_cast<std::uint32_t>(count);
        }
    }

  private:
    int socket_ = -1;
    pid_t child_ = -1;
};

/// The session of an earlier run may still be open, which is as good as a new one.
void joinSession(ZlPTPdrv& camera) {
    try {
        camera.openSession();
    } catch (PTPCommErrors error) {
        if (error != PTP_SESSION_ALREADY_OPEN && error != PTP_INVALID_TRANSACTION_ID) throw;
    }
}

/// Measures both by turns, so that other work of the machine falls on both. Prints the best time of
/// each, and the least CPU time of `ours`.
template <class Ours, class Bare>
void compare(Ours ours, Bare bare) {
    double ourBest = 1e9, bareBest = 1e9, cpu = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const double before = cpuSeconds();
        ourBest = std::min(ourBest, secondsOf(ours));
        cpu = std::min(cpu, cpuSeconds() - before);
        bareBest = std::min(bareBest, secondsOf(bare));
    }
    std::printf("%.9f %.9f %.9f\n", ourBest, bareBest, cpu);
}

void object(ZlPTPdrv& camera, const BareServer& server, std::uint32_t handle, std::uint32_t size) {
    // Allocated before the measurement, as first use of memory costs time.
    std::vector<std::uint8_t> target(size);
    compare([&] { camera.getObject(handle, target.data(), size, nullptr); },
            [&] {
                server.ask({0, size}, target.data());
            });
}

void pieces(ZlPTPdrv& camera, const BareServer& server, std::uint32_t handle, std::uint32_t size) {
    std::vector<std::uint8_t> target(pieceSize);
    // One call beforehand, so that memory that is allocated once doesn't count as growth.
    camera.getPartialObject(handle, 0, pieceSize, target.data());
    const long before = residentKiB();
    const auto each = [&](auto get) {
        for (std::uint32_t done = 0; done < size; done += pieceSize) get(done);
    };
    compare(
        [&] {
            each([&](std::uint32_t done) {
                camera.getPartialObject(handle, done, pieceSize, target.data());
            });
        },
        [&] {
            each([&](std::uint32_t done) {
                server.ask({done, std::min(pieceSize, size - done)}, target.data());
            });
        });
    std::printf("%ld\n", residentKiB() - before);
}

void transactions(ZlPTPdrv& camera, const BareServer& server) {
    // Many together, since one is too short for the clock.
    constexpr int count = 2000;
    std::uint8_t response[16];
    compare(
        [&] {
            for (int i = 0; i < count; ++i) camera.getNumberObjects(0xFFFFFFFF, 0, 0);
        },
        [&] {
            for (int i = 0; i < count; ++i) server.ask({0, sizeof response}, response);
        });
    std::printf("%d\n", count);
}

/// The transactions with which the components list a camera; returns the handles of its objects.
std::vector<std::uint32_t> walk(ZlPTPdrv& camera) {
    std::vector<std::uint32_t> all;
    for (const std::uint32_t storage : camera.getStorageIDs()) {
        if (camera.getNumberObjects(storage, 0, 0) == 0) continue;
        for (const std::uint32_t handle : camera.getObjectHandles(storage, 0, 0)) {
            camera.getObjectInfo(handle);
            all.push_back(handle);
        }
    }
    return all;
}

void unload(ZlPTPdrv& camera) {
    // The listing isn't part of the measured time.
    const std::vector<std::uint32_t> handles = walk(camera);
    std::printf("%.9f\n", secondsOf([&] {
                    for (const std::uint32_t handle : handles) {
                        const std::uint32_t size =
                            camera.getObjectInfo(handle).ObjectCompressedSize;
                        std::vector<std::uint8_t> target(size);
                        camera.getObject(handle, target.data(), size, nullptr);
                    }
                }));
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    const auto number = [&](int index) {
        return argc > index ? static_cast<std::uint32_t>(std::strtoul(argv[index], nullptr, 0)) : 0;
    };
    // Started before the camera is opened, so that the child doesn't inherit its connection.
    const BareServer server(std::max(number(3), pieceSize));
    try {
        ZlPTPdrv camera{wString(u"\\\\.\\Usbscan1000")};
        joinSession(camera);
        if (what == "object") {
            object(camera, server, number(2), number(3));
        } else if (what == "pieces") {
            pieces(camera, server, number(2), number(3));
        } else if (what == "transactions") {
            transactions(camera, server);
        } else if (what == "rate") {
            std::printf("%.9f\n", secondsOf([&] {
                            for (std::uint32_t i = 0; i < number(2); ++i)
                                camera.getNumberObjects(0xFFFFFFFF, 0, 0);
                        }));
        } else if (what == "walk") {
            std::printf("%.9f\n", secondsOf([&] { walk(camera); }));
        } else if (what == "unload") {
            unload(camera);
        } else {
            return 2;
        }
        return 0;
    } catch (PTPCommErrors error) {
        std::fprintf(stderr, "PTP error 0x%x\n", static_cast<unsigned>(error));
        return 1;
    }
}
