// Six processes race to make, hold and drop the same names, and some of them are killed on the
// way. What they find is kept in a file that all of them map, which nothing under test touches.
// ZLK_STRESS=<factor> makes it so many times longer.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "tests/platform/NamedObjects.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

constexpr int racers = 6;
constexpr int roundsOfABatch = 20;

/// What only one racer may have at a time, and who has it now.
struct Treasure {
    std::atomic<int> holder;  // a racer's number, never the same twice; 0 nobody
    std::atomic<int> taken;
    std::atomic<int> bereavements;  // of holders who had not left it, as only the dead may

    void take(int racer) {
        ++taken;
        if (holder.exchange(racer)) ++bereavements;
    }
    /// Lets others run first; false if one of them took it.
    bool leave(int racer) {
        sched_yield();
        return holder.compare_exchange_strong(racer, 0);
    }
};

struct Findings {
    Treasure claim, lock, section;
    std::atomic<int> faults;

    void require(bool fact) { faults += fact ? 0 : 1; }
};

Findings& findingsIn(const std::string& path) {
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, sizeof(Findings)) != 0) abort();
    void* const memory = mmap(nullptr, sizeof(Findings), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (memory == MAP_FAILED) abort();
    return *static_cast<Findings*>(memory);
}

void raceForTheClaim(Findings& findings, int racer) {
    const UniqueHandle mutex = makeMutex(u"Global\\RaceClaim", true);
    const bool made = GetLastError() != ERROR_ALREADY_EXISTS;
    findings.require(static_cast<bool>(mutex));
    if (!mutex || !made) return;
    findings.claim.take(racer);
    findings.require(WaitForSingleObject(mutex.get(), 0) == WAIT_OBJECT_0);
    findings.require(findings.claim.leave(racer));
}

void raceForTheLock(Findings& findings, int racer) {
    const UniqueHandle mutex = makeMutex(u"RaceLock");
    const DWORD result = WaitForSingleObject(mutex.get(), INFINITE);
    findings.require(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED);
    findings.lock.take(racer);
    findings.require(findings.lock.leave(racer));
    findings.require(ReleaseMutex(mutex.get()));
}

void raceForTheSection(Findings& findings, int racer) {
    constexpr DWORD size = 5000;
    const UniqueHandle section = makeSection(u"RaceSection", size);
    const bool made = GetLastError() == ERROR_SUCCESS;
    void* const view = MapViewOfFile(section.get(), FILE_MAP_WRITE, 0, 0, 0);
    findings.require(view && viewSize(view) == size);
    if (!view) return;
    auto* const bytes = static_cast<volatile char*>(view);
    if (made) {
        findings.section.take(racer);
        for (DWORD i = 0; i < size; ++i) findings.require(bytes[i] == 0);
        for (DWORD i = 0; i < size; i += 100) bytes[i] = 1;
        findings.require(findings.section.leave(racer));
    } else {
        (void)bytes[size - 1];
    }
    UnmapViewOfFile(view);
}

ZLK_CHILD(racer) {
    Findings& findings = findingsIn(child.arguments.at(0));
    const int number = std::stoi(child.arguments.at(1));
    while (!child.hear().empty()) {
        alarm(30);  // a batch takes milliseconds: whoever hangs dies, and the parent hears nothing
        for (int round = 0; round < roundsOfABatch; ++round) {
            raceForTheClaim(findings, number);
            raceForTheLock(findings, number);
            if (round % 4 == 0) raceForTheSection(findings, number);
        }
        alarm(0);
        child.say("done");
    }
    return 0;
}

TEST(NamedObjectsRace, HasNeverTwoOwnersAndNeverHangs) {
    const char* const factor = getenv("ZLK_STRESS");
    const int batches = 20 * (factor ? std::max(1, atoi(factor)) : 1);
    const std::string path = newFolder() / "findings";
    Findings& findings = findingsIn(path);
    std::minstd_rand random(12345);
    int lastNumber = 0, killed = 0;
    std::array<std::unique_ptr<ChildProcess>, racers> processes;
    for (int batch = 0; batch < batches; ++batch) {
        for (auto& process : processes) {
            if (process) continue;
            process = std::make_unique<ChildProcess>(
                "racer", std::vector<std::string>{path, std::to_string(++lastNumber)});
        }
        // Each second batch loses one, wherever that one is when the others have got so far.
        const std::size_t victim = batch % 2 ? random() % racers : racers;
        const int goal = findings.lock.taken + static_cast<int>(random() % 60);
        for (const auto& process : processes) process->say("go");
        if (victim < racers) {
            while (findings.lock.taken < goal) sched_yield();
            processes[victim]->kill();
            ++killed;
        }
        for (std::size_t i = 0; i < racers; ++i) {
            if (i == victim) {
                processes[i].reset();
            } else {
                ASSERT_EQ(processes[i]->hear(), "done") << "hung or crashed";
            }
        }
    }
    EXPECT_EQ(findings.faults, 0);
    EXPECT_GT(findings.claim.taken, batches);
    EXPECT_GT(findings.section.taken, batches);
    EXPECT_GE(findings.lock.taken, batches * (racers - 1) * roundsOfABatch);
    for (const Treasure* treasure : {&findings.claim, &findings.lock, &findings.section})
        EXPECT_LE(treasure->bereavements, killed);
}

TEST(NamedObjectsRace, KeepsThreadsApartToo) {
    constexpr int rounds = 300;
    int counted = 0, abandoned = 0;  // both guarded by the mutex
    const auto count = [&] {
        const UniqueHandle mutex = makeMutex(u"ThreadRace");
        const DWORD result = WaitForSingleObject(mutex.get(), INFINITE);
        if (result == WAIT_ABANDONED) ++abandoned;
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) ++counted;
        if (counted % 10) ReleaseMutex(mutex.get());  // else dropped while owned
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) count();
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counted, 4 * rounds);
    EXPECT_LE(abandoned, 4 * rounds / 10);
}

}  // namespace
}  // namespace zlk::test
