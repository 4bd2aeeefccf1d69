#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "tests/platform/NamedObjects.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;

UniqueHandle openSection(const std::u16string& name) {
    return UniqueHandle(OpenFileMappingW(FILE_MAP_WRITE, 0, name.c_str()));
}

/// Whether whoever makes the mutex now is its maker. What was made is gone again.
bool isFree(const std::u16string& name) {
    const UniqueHandle made = makeMutex(name);
    const DWORD error = GetLastError();
    EXPECT_TRUE(made) << error;
    return error == ERROR_SUCCESS;
}

/// On a thread of its own, which has ended when this returns.
template <class Body>
void inThread(Body body) {
    std::thread(body).join();
}

const std::u16string claim = u"Global\\Claim";

// Holds what it is told until the parent says something: the claim, or a section.
ZLK_CHILD(holder) {
    const std::string what = child.arguments.at(0);
    const UniqueHandle held = what == "section" ? makeSection(u"Section") : makeMutex(claim);
    const DWORD outcome = GetLastError();
    const View<char> view = viewOf(held);  // null for a mutex
    if (view) std::strcpy(view.get(), "from the child");
    child.say(held ? std::to_string(outcome) : "failed");
    child.hear();
    return 0;
}

// Takes the claim, without limit, and says how.
ZLK_CHILD(waiter) {
    const UniqueHandle mutex = makeMutex(claim);
    child.say(std::to_string(WaitForSingleObject(mutex.get(), INFINITE)));
    child.hear();
    return 0;
}

TEST(NamedObjects, OutliveTheirMakersButNoLastHolder) {
    const std::string made = std::to_string(ERROR_SUCCESS),
                      joined = std::to_string(ERROR_ALREADY_EXISTS);
    for (const std::string kind : {"mutex", "section"}) {
        SCOPED_TRACE(kind);
        ChildProcess maker("holder", {kind});
        EXPECT_EQ(maker.hear(), made);
        ChildProcess joiner("holder", {kind});
        EXPECT_EQ(joiner.hear(), joined);
        maker.kill();
        ChildProcess next("holder", {kind});
        EXPECT_EQ(next.hear(), joined);
        for (ChildProcess* holder : {&joiner, &next}) holder->kill();
        EXPECT_EQ(ChildProcess("holder", {kind}).hear(), made);
    }
}

TEST(NamedMutex, BelongsToOneThreadAtATimeAndExistsAsLongAsItsLastHandle) {
    UniqueHandle mutex = makeMutex(claim, true), again = makeMutex(claim, true);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(WaitForSingleObject(again.get(), INFINITE), WAIT_OBJECT_0);  // re-entered
    const auto otherThread = [&](DWORD expected) {
        inThread([&] {
            EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), expected);
            EXPECT_EQ(ReleaseMutex(mutex.get()), expected == WAIT_OBJECT_0);
        });
    };
    otherThread(WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    otherThread(WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(again.get()));
    EXPECT_EQ(errorOf(ReleaseMutex(again.get())), ERROR_NOT_OWNER);
    otherThread(WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 17), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    mutex.reset();
    EXPECT_FALSE(isFree(claim));
    again.reset();
    for (int times = 0; times < 2; ++times) EXPECT_TRUE(isFree(claim));
}

TEST(NamedMutex, IsAbandonedByAThreadThatEndsAndByAProcessThatDies) {
    const UniqueHandle mutex = makeMutex(claim);
    std::thread waiting;
    inThread([&] {
        EXPECT_EQ(WaitForSingleObject(mutex.get(), INFINITE), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(mutex.get(), INFINITE), WAIT_OBJECT_0);
        waiting = std::thread(
            [&] { EXPECT_EQ(WaitForSingleObject(mutex.get(), INFINITE), WAIT_ABANDONED); });
    });
    waiting.join();
    // Its owner has ended in this process; another one hears of it too.
    ChildProcess waiter("waiter");
    EXPECT_EQ(waiter.hear(), std::to_string(WAIT_ABANDONED));
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_TIMEOUT);
    waiter.kill();
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_ABANDONED) << "by its process";
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_OBJECT_0) << "it is told once";
    // One that was owned from its making, and one without a name.
    UniqueHandle made, unnamed;
    inThread([&] {
        made = makeMutex(u"Other", true);
        unnamed.reset(CreateMutexW(nullptr, 1, nullptr));
    });
    EXPECT_EQ(WaitForSingleObject(made.get(), INFINITE), WAIT_ABANDONED);
    EXPECT_EQ(WaitForSingleObject(unnamed.get(), INFINITE), WAIT_ABANDONED);
}

TEST(NamedMutex, StaysOwnedUntilItsLastHandleGoes) {
    ChildProcess holder("holder", {"mutex"});
    ASSERT_EQ(holder.hear(), "0");
    UniqueHandle mutex = makeMutex(claim), second = makeMutex(claim);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), INFINITE), WAIT_OBJECT_0);
    mutex.reset();
    inThread([&] { EXPECT_EQ(WaitForSingleObject(second.get(), 0), WAIT_TIMEOUT); });
    inThread([&] { second.reset(); });
    mutex = makeMutex(claim);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_ABANDONED);
}

TEST(NamedSection, IsSharedInItsMakersSizeAndReadsAsZerosWhenMadeAgain) {
    ChildProcess holder("holder", {"section"});
    EXPECT_EQ(holder.hear(), "0");
    const UniqueHandle opened = openSection(u"Local\\Section");  // the same without a prefix
    holder.kill();
    const UniqueHandle section = makeSection(u"Section", 500'000);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_STREQ(viewOf(opened).get(), "from the child");
    EXPECT_STREQ(viewOf(section).get(), "from the child");
    EXPECT_EQ(errorOf(openSection(u"Global\\Section")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(viewSize(viewOf(section).get()), 1024u) << "whatever the later ones asked for";
    EXPECT_EQ(viewSize(viewOf(makeSection(u"Section", 0)).get()), 1024u);

    for (const DWORD size : {300'000u, 100u, 200'000u}) {
        UniqueHandle anew = makeSection(u"Anew", size);
        ASSERT_EQ(GetLastError(), ERROR_SUCCESS);
        char* const bytes = viewOf(anew).release();
        anew.reset();  // the view still has it
        EXPECT_TRUE(openSection(u"Anew"));
        ASSERT_EQ(viewSize(bytes), size);
        EXPECT_EQ(std::count(bytes, bytes + size, 0), size);
        std::memset(bytes, 0xAA, size);
        EXPECT_TRUE(UnmapViewOfFile(bytes));
        EXPECT_FALSE(UnmapViewOfFile(bytes));
        EXPECT_EQ(viewSize(bytes), 0u);
        EXPECT_FALSE(openSection(u"Anew"));
    }
}

TEST(NamedSection, IsSeenWithinItsSize) {
    const UniqueHandle large = makeSection(u"Large", 100'000);
    const auto map = [&](DWORD offset, std::size_t bytes, DWORD access = FILE_MAP_READ,
                         DWORD offsetHigh = 0) {
        return View<char>(
            static_cast<char*>(MapViewOfFile(large.get(), access, offsetHigh, offset, bytes)));
    };
    EXPECT_EQ(viewSize(map(65536, 0).get()), 100'000u - 65536);
    EXPECT_EQ(viewSize(map(0, 10).get()), 10u);
    viewOf(large).get()[65536] = 'x';
    EXPECT_EQ(*map(65536, 1), 'x');
    for (const DWORD error :
         {errorOf(map(65537, 0)), errorOf(map(4096, 0)), errorOf(map(131072, 0)),
          errorOf(map(0, 100'001)), errorOf(map(65536, SIZE_MAX)), errorOf(map(0, 0, 0)),
          errorOf(map(0, 0, FILE_MAP_READ, 0xFFFFFFFF)), errorOf(makeSection(u"Empty", 0)),
          errorOf(makeSection(u"Huge", 0x40000001))})
        EXPECT_EQ(error, ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(isFree(u"Huge"));
}

fs::path fileOf(const std::string& name) {
    for (const auto& entry : fs::recursive_directory_iterator(machineRoot() / "run"))
        if (entry.path().filename() == name) return entry.path();
    return {};
}

TEST(NamedSection, SurvivesAPeerThatCutsItsFile) {
    const UniqueHandle section = makeSection(u"Cut", 200'000);
    const View<char> view = viewOf(section);
    fs::resize_file(fileOf("Cut"), 64 * 1024 + 100'000);
    EXPECT_EQ(viewSize(view.get()), 100'000u);
    EXPECT_EQ(viewSize(viewOf(section).get()), 100'000u);
    fs::resize_file(fileOf("Cut"), 0);
    EXPECT_EQ(viewSize(view.get()), 0u);
    EXPECT_FALSE(viewOf(section));
    ChildProcess peer("holder", {"mutex"});  // a peer that joins one such is refused
    ASSERT_EQ(peer.hear(), "0");
    fs::resize_file(fileOf("Claim"), 3);
    EXPECT_EQ(errorOf(makeMutex(claim)), ERROR_INVALID_HANDLE);
}

TEST(NamedObjects, OfAnotherKindAreRefused) {
    ChildProcess holder("holder", {"mutex"}), other("holder", {"section"});
    ASSERT_EQ(holder.hear(), "0");
    ASSERT_EQ(other.hear(), "0");
    const UniqueHandle mutex = makeMutex(u"Here");
    for (const DWORD error :
         {errorOf(makeSection(claim)), errorOf(openSection(claim)), errorOf(makeMutex(u"Section")),
          errorOf(makeSection(u"Here")), errorOf(openSection(u"Here"))})
        EXPECT_EQ(error, ERROR_INVALID_HANDLE);
    holder.kill();
    EXPECT_TRUE(makeSection(claim));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

// Asks for a section by the claim's name without an end.
ZLK_CHILD(asker) {
    child.say("asking");
    for (;;) openSection(claim);
}

TEST(NamedObjects, AreNotHinderedByWhoAsksForThem) {
    ChildProcess asker("asker");
    ASSERT_EQ(asker.hear(), "asking");
    int refused = 0;
    for (int i = 0; i < 3000; ++i) refused += isFree(claim) ? 0 : 1;
    EXPECT_EQ(refused, 0);
}

TEST(NamedObjects, OfOneNameKeepNobodyFromAnother) {
    ASSERT_TRUE(isFree(u"Global\\Gated"));
    // As a process that was stopped inside of the gate has it.
    const int gate = open(fileOf("Gated").c_str(), O_RDWR | O_CLOEXEC);
    struct flock everything {};
    everything.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(gate, F_OFD_SETLK, &everything), 0);
    std::atomic<bool> over = false;
    std::thread waiter([&] {
        EXPECT_TRUE(isFree(u"Global\\Gated"));
        over = true;
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    while (std::chrono::steady_clock::now() < end) EXPECT_TRUE(isFree(claim));
    EXPECT_FALSE(over);
    close(gate);
    waiter.join();
}

TEST(NamedObjects, LeaveAForkedChildNothing) {
    UniqueHandle mutex = makeMutex(claim, true);
    const UniqueHandle section = makeSection(u"Forked");
    const View<char> view = viewOf(section);
    *view = 'p';
    const int faultsOfTheChild = forked([&] {
        int faults = 0;
        faults += WaitForSingleObject(mutex.get(), 0) != WAIT_FAILED;
        faults += ReleaseMutex(mutex.get()) || GetLastError() != ERROR_INVALID_HANDLE;
        faults += static_cast<bool>(viewOf(section));
        faults += *view != 0 || viewSize(view.get()) != 1024;
        *view = 'c';
        // It finds the objects by their names as any other process does.
        UniqueHandle joined = makeMutex(claim);
        faults += GetLastError() != ERROR_ALREADY_EXISTS;
        faults += WaitForSingleObject(joined.get(), 0) != WAIT_TIMEOUT;
        joined.reset();
        mutex.reset();
        return faults;
    });
    EXPECT_EQ(faultsOfTheChild, 0);
    EXPECT_EQ(*view, 'p');
    inThread([&] { EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_TIMEOUT); });
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    mutex.reset();
    EXPECT_TRUE(isFree(claim));
}

TEST(NamedObjects, OfAProcessThatForkedAndDiedAreFree) {
    // The holder's own child stays behind, as a helper program of an application would.
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const int status = forked([&] {
        const UniqueHandle mutex = makeMutex(claim, true), section = makeSection(u"Forked");
        if (!viewOf(section).release()) return 1;
        if (fork() != 0) _exit(0);
        // It closes what it has of the objects when it first runs, which may be after that end.
        close(ends[0]);
        char byte = 0;
        return write(ends[1], &byte, 1) == 1 && read(ends[1], &byte, 1) == 0 ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    char byte;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_TRUE(isFree(claim));
    EXPECT_FALSE(openSection(u"Forked"));
    close(ends[0]);
    close(ends[1]);
}

TEST(NamedObjects, HaveNamesThatStayInTheirFolder) {
    std::vector<std::u16string> names{
        u"..",     u".",     u"/etc/passwd", u"../../x", u"a/b",       u"a\nb",
        u"%2F",    u"+",     u"x",           u"X",       u"\u00E4",    u"\u20AC",
        u"%u20AC", u"u20AC", u"\xD800",      u"\xDC00",  u"\U00010000"};
    for (const std::size_t length : {199, 200, 201, 253})
        for (const char16_t end : {u'a', u'b'})
            names.push_back(std::u16string(length - 1, u'n') + end);
    for (const char16_t end : {u'1', u'2'}) names.push_back(std::u16string(250, u'\u20AC') + end);
    const auto filesOfTheMachine = [] {
        std::set<std::string> files;
        std::error_code notYetMade;
        for (const auto& entry : fs::recursive_directory_iterator(machineRoot(), notYetMade))
            if (!entry.is_directory()) files.insert(entry.path().lexically_relative(machineRoot()));
        return files;
    };
    const auto before = filesOfTheMachine();
    std::vector<UniqueHandle> held;
    for (const std::u16string prefix : {u"Global\\", u""}) {
        for (const std::u16string& name : names) {
            held.push_back(makeMutex(prefix + name));
            EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << held.size();
            ASSERT_TRUE(held.back());
        }
    }
    const auto after = filesOfTheMachine();
    EXPECT_EQ(after.size(), before.size() + held.size());
    for (const std::string& file : after)
        EXPECT_TRUE(file.starts_with("run/global/") || file.starts_with("run/session/")) << file;
}

TEST(NamedObjects, RefuseBadNames) {
    using Name = std::u16string;
    for (const Name& name :
         {Name(u"Global\\"), Name(u"Local\\"), Name(u"a\\b"), Name(u"Global\\Global\\a"),
          Name(u"\\a"), Name(261, u'n'), u"Global\\" + Name(254, u'n'), Name(10'000, u'n')}) {
        EXPECT_EQ(errorOf(makeMutex(name)), ERROR_INVALID_NAME) << name.size();
        EXPECT_EQ(errorOf(makeSection(name)), ERROR_INVALID_NAME) << name.size();
        EXPECT_EQ(errorOf(openSection(name)), ERROR_INVALID_NAME) << name.size();
    }
    EXPECT_FALSE(openSection(u""));
}

TEST(NamedObjects, AreNotLedAstrayByWhatStandsInTheirPlace) {
    ASSERT_TRUE(isFree(u"Global\\First"));  // makes the folder
    const fs::path folder = fileOf("First").parent_path();
    const fs::path target = newFolder() / "target";
    writeFile(target, "precious");
    fs::create_symlink(target, folder / "Link");
    fs::create_symlink(target / "nowhere", folder / "Dangling");
    fs::create_directory(folder / "Folder");
    writeFile(folder / "Open", "");
    fs::permissions(folder / "Open", fs::perms::all);
    for (const char16_t* name :
         {u"Global\\Link", u"Global\\Dangling", u"Global\\Folder", u"Global\\Open"}) {
        EXPECT_EQ(errorOf(makeSection(name)), ERROR_ACCESS_DENIED);
        for (int tries = 0; tries < 2; ++tries)
            EXPECT_EQ(errorOf(makeMutex(name)), ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(readFile(target), "precious");
}

TEST(NamedObjects, WithoutANameAreEachTheirOwn) {
    const UniqueHandle first(CreateMutexW(nullptr, 1, nullptr)),
        second(CreateMutexW(nullptr, 0, u""));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    inThread([&] {
        EXPECT_EQ(WaitForSingleObject(first.get(), 0), WAIT_TIMEOUT);
        EXPECT_EQ(WaitForSingleObject(second.get(), 0), WAIT_OBJECT_0);
    });
    const View<char> one = viewOf(makeSection(u"")), two = viewOf(makeSection(u""));
    *one = 'x';
    EXPECT_EQ(*two, 0);
}

TEST(Handles, ThatAreStaleOrOfAnotherKindAreRefused) {
    UniqueHandle mutex = makeMutex(claim);
    const UniqueHandle section = makeSection(u"Section");
    const HANDLE stale = mutex.get();
    mutex.reset();
    mutex = makeMutex(claim);
    EXPECT_NE(mutex.get(), stale);
    const HANDLE wild = reinterpret_cast<HANDLE>(std::uintptr_t{0xDEADBEEF});
    for (const HANDLE bad : {stale, section.get(), HANDLE{nullptr}, INVALID_HANDLE_VALUE, wild}) {
        EXPECT_EQ(WaitForSingleObject(bad, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        EXPECT_FALSE(ReleaseMutex(bad));
        if (bad == section.get()) continue;
        SetLastError(0);
        EXPECT_EQ(errorOf(CloseHandle(bad)), ERROR_INVALID_HANDLE);
    }
    SetLastError(0);
    EXPECT_EQ(errorOf(viewOf(mutex)), ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace zlk::test
