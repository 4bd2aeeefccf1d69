#include "platform/named_objects.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace {

namespace fs = std::filesystem;
using zlk::UniqueHandle;
using zlk::test::ChildProcess;

UniqueHandle makeMutex(const std::u16string& name, bool owned = false) {
    return UniqueHandle(CreateMutexW(nullptr, owned, name.c_str()));
}

UniqueHandle makeSection(const std::u16string& name, DWORD size = 1024) {
    return UniqueHandle(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name.c_str()));
}

UniqueHandle openSection(const std::u16string& name) {
    return UniqueHandle(OpenFileMappingW(FILE_MAP_WRITE, 0, name.c_str()));
}

struct Unmap {
    void operator()(char* view) const { EXPECT_TRUE(UnmapViewOfFile(view)); }
};
using View = std::unique_ptr<char, Unmap>;

View viewOf(const UniqueHandle& section) {
    return View(static_cast<char*>(MapViewOfFile(section.get(), FILE_MAP_WRITE, 0, 0, 0)));
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

// Holds what it is told until the parent says something: the claim, owned or not, or a section.
ZLK_CHILD(holder) {
    const std::string what = child.arguments.at(0);
    const UniqueHandle held =
        what == "section" ? makeSection(u"Section") : makeMutex(claim, what == "owned");
    const DWORD outcome = GetLastError();
    const View view = viewOf(held);  // null for a mutex
    if (view) std::strcpy(view.get(), "from the child");
    child.say(held ? std::to_string(outcome) : "failed");
    child.hear();
    return 0;
}

// Takes the claim, without limit, and says how.
ZLK_CHILD(waiter) {
    const UniqueHandle mutex = makeMutex(claim);
    child.say("waiting");
    child.say(std::to_string(WaitForSingleObject(mutex.get(), INFINITE)));
    child.hear();
    return ReleaseMutex(mutex.get()) ? 0 : 1;
}

TEST(NamedObjects, ExistAsLongAsTheirLastHolder) {
    for (const bool killed : {false, true}) {
        ChildProcess first("holder", {"mutex"}), second("holder", {"mutex"});
        std::set<std::string> outcomes{first.hear(), second.hear()};
        EXPECT_EQ(outcomes, (std::set<std::string>{"0", "183"}));
        EXPECT_FALSE(isFree(claim));
        first.kill();
        EXPECT_FALSE(isFree(claim));
        killed ? second.kill() : second.say("go");
        second.wait();
        EXPECT_TRUE(isFree(claim));
        EXPECT_TRUE(isFree(claim));
    }
}

TEST(NamedObjects, AreHeldOnceMoreByEachHandle) {
    UniqueHandle first = makeMutex(claim), second = makeMutex(claim);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_NE(first.get(), second.get());
    first.reset();
    EXPECT_FALSE(isFree(claim));
    second.reset();
    EXPECT_TRUE(isFree(claim));
}

TEST(NamedMutex, BelongsToOneThreadAtATime) {
    const UniqueHandle mutex = makeMutex(claim, true), again = makeMutex(claim, true);
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
    EXPECT_FALSE(ReleaseMutex(again.get()));
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    otherThread(WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 17), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(NamedMutex, IsHandedFromProcessToProcess) {
    const UniqueHandle mutex = makeMutex(claim, true);
    ChildProcess waiter("waiter");
    ASSERT_EQ(waiter.hear(), "waiting");
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(waiter.hear(), std::to_string(WAIT_OBJECT_0));
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_TIMEOUT);
    waiter.say("release");
    EXPECT_EQ(waiter.wait(), 0);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_OBJECT_0);
}

TEST(NamedMutex, TellsTheNextOwnerThatTheLastOneDied) {
    const UniqueHandle mutex = makeMutex(claim);
    ChildProcess waiter("waiter");
    ASSERT_EQ(waiter.hear(), "waiting");
    ASSERT_EQ(waiter.hear(), std::to_string(WAIT_OBJECT_0));
    ChildProcess next("waiter");
    ASSERT_EQ(next.hear(), "waiting");
    waiter.kill();
    EXPECT_EQ(next.hear(), std::to_string(WAIT_ABANDONED));  // and so it has it
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_TIMEOUT);
    next.say("release");
    EXPECT_EQ(next.wait(), 0);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_OBJECT_0);  // told once
}

TEST(NamedMutex, IsAbandonedByAThreadThatEnds) {
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
    ASSERT_EQ(waiter.hear(), "waiting");
    EXPECT_EQ(waiter.hear(), std::to_string(WAIT_ABANDONED));
    waiter.say("release");
    waiter.wait();
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

TEST(NamedSection, IsSharedAndReadsAsZerosWhenMadeAgain) {
    ChildProcess holder("holder", {"section"});
    EXPECT_EQ(holder.hear(), "0");
    const UniqueHandle opened = openSection(u"Local\\Section");  // the same without a prefix
    holder.kill();
    const UniqueHandle section = makeSection(u"Section");
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_STREQ(viewOf(opened).get(), "from the child");
    EXPECT_STREQ(viewOf(section).get(), "from the child");
    EXPECT_FALSE(openSection(u"Global\\Section"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);

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

TEST(NamedSection, HasTheSizeOfItsMaker) {
    ChildProcess holder("holder", {"section"});
    ASSERT_EQ(holder.hear(), "0");
    const UniqueHandle section = makeSection(u"Section", 500'000);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(viewSize(viewOf(section).get()), 1024u);
    EXPECT_EQ(viewSize(viewOf(makeSection(u"Section", 0)).get()), 1024u);

    const UniqueHandle large = makeSection(u"Large", 100'000);
    const auto map = [&](DWORD offset, std::size_t bytes, DWORD access = FILE_MAP_READ,
                         DWORD offsetHigh = 0) {
        return View(
            static_cast<char*>(MapViewOfFile(large.get(), access, offsetHigh, offset, bytes)));
    };
    EXPECT_EQ(viewSize(map(65536, 0).get()), 100'000u - 65536);
    EXPECT_EQ(viewSize(map(0, 10).get()), 10u);
    viewOf(large).get()[65536] = 'x';
    EXPECT_EQ(*map(65536, 1), 'x');
    for (const bool refused :
         {!map(65537, 0), !map(4096, 0), !map(131072, 0), !map(0, 100'001), !map(65536, SIZE_MAX),
          !map(0, 0, 0), !map(0, 0, FILE_MAP_READ, 0xFFFFFFFF)}) {
        EXPECT_TRUE(refused);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_FALSE(makeSection(u"Empty", 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(makeSection(u"Huge", 0x40000001));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(isFree(u"Huge"));
}

fs::path fileOf(const std::string& name) {
    for (const auto& entry : fs::recursive_directory_iterator(zlk::test::machineRoot() / "run"))
        if (entry.path().filename() == name) return entry.path();
    return {};
}

TEST(NamedSection, SurvivesAPeerThatCutsItsFile) {
    const UniqueHandle section = makeSection(u"Cut", 200'000);
    const View view = viewOf(section);
    fs::resize_file(fileOf("Cut"), 64 * 1024 + 100'000);
    EXPECT_EQ(viewSize(view.get()), 100'000u);
    EXPECT_EQ(viewSize(viewOf(section).get()), 100'000u);
    fs::resize_file(fileOf("Cut"), 0);
    EXPECT_EQ(viewSize(view.get()), 0u);
    EXPECT_FALSE(viewOf(section));
    ChildProcess peer("holder", {"mutex"});  // a peer that joins one such is refused
    ASSERT_EQ(peer.hear(), "0");
    fs::resize_file(fileOf("Claim"), 3);
    EXPECT_FALSE(makeMutex(claim));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(NamedObjects, OfAnotherKindAreRefused) {
    ChildProcess holder("holder", {"mutex"}), other("holder", {"section"});
    ASSERT_EQ(holder.hear(), "0");
    ASSERT_EQ(other.hear(), "0");
    const UniqueHandle mutex = makeMutex(u"Here");
    for (const bool refused : {!makeSection(claim), !openSection(claim), !makeMutex(u"Section"),
                               !makeSection(u"Here"), !openSection(u"Here")}) {
        EXPECT_TRUE(refused);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
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
    ChildProcess asker("asker"), another("asker");
    ASSERT_EQ(asker.hear(), "asking");
    ASSERT_EQ(another.hear(), "asking");
    int refused = 0;
    for (int i = 0; i < 3000; ++i) refused += isFree(claim) ? 0 : 1;
    EXPECT_EQ(refused, 0);
}

TEST(NamedObjects, LeaveAForkedChildNothing) {
    UniqueHandle mutex = makeMutex(claim, true);
    UniqueHandle section = makeSection(u"Forked");
    View view = viewOf(section);
    *view = 'p';
    int toChild[2], fromChild[2];
    ASSERT_EQ(pipe(toChild), 0);
    ASSERT_EQ(pipe(fromChild), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        close(toChild[1]);
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
        char byte = static_cast<char>(faults);
        faults += write(fromChild[1], &byte, 1) != 1;
        [[maybe_unused]] const ssize_t end = read(toChild[0], &byte, 1);
        _exit(0);
    }
    close(toChild[0]);
    char faults = -1;
    ASSERT_EQ(read(fromChild[0], &faults, 1), 1);
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(*view, 'p');
    {
        ChildProcess other("holder", {"mutex"});
        EXPECT_EQ(other.hear(), "183");
    }
    inThread([&] { EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_TIMEOUT); });
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    // The child lives on and keeps none of them.
    mutex.reset();
    EXPECT_TRUE(isFree(claim));
    view.reset();
    section.reset();
    EXPECT_FALSE(openSection(u"Forked"));
    close(toChild[1]);
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST(NamedObjects, OfAProcessThatForkedAndDiedAreFree) {
    // The holder's own child stays behind, as a helper program of an application would.
    int lifeline[2], started[2];
    ASSERT_EQ(pipe(lifeline), 0);
    ASSERT_EQ(pipe(started), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        close(lifeline[1]);
        const UniqueHandle mutex = makeMutex(claim, true);
        const UniqueHandle section = makeSection(u"Forked");
        const View view = viewOf(section);
        if (!view) _exit(1);
        char byte = 0;
        if (fork() != 0) _exit(0);
        // It closes what it has of the objects when it first runs, which may be after that end.
        if (write(started[1], &byte, 1) != 1) _exit(1);
        _exit(read(lifeline[0], &byte, 1) == 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(parent, &status, 0), parent);
    EXPECT_EQ(status, 0);
    char byte;
    ASSERT_EQ(read(started[0], &byte, 1), 1);
    EXPECT_TRUE(isFree(claim));
    EXPECT_FALSE(openSection(u"Forked"));
    close(lifeline[1]);
}

TEST(NamedObjects, HaveNamesThatStayInTheirFolder) {
    std::vector<std::u16string> names{u"..",     u".",    u"/etc/passwd", u"../../x", u"a/b",
                                      u"a\nb",   u"a b",  u"%2F",         u"/",       u"+",
                                      u"\u0001", u"x",    u"X",           u"\u00E4",  u"\u20AC",
                                      u"%u20AC", u"u20AC"};
    names.push_back({char16_t{0xD800}});
    names.push_back({char16_t{0xDC00}});
    names.push_back(u"\U00010000");
    for (const std::size_t length : {199, 200, 201, 253})
        for (const char16_t end : {u'a', u'b'})
            names.push_back(std::u16string(length - 1, u'n') + end);
    names.push_back(std::u16string(250, u'\u20AC') + u"1");
    names.push_back(std::u16string(250, u'\u20AC') + u"2");
    const auto filesOfTheMachine = [] {
        std::set<std::string> files;
        std::error_code notYetMade;
        for (const auto& entry :
             fs::recursive_directory_iterator(zlk::test::machineRoot(), notYetMade))
            if (!entry.is_directory())
                files.insert(entry.path().lexically_relative(zlk::test::machineRoot()));
        return files;
    };
    const auto before = filesOfTheMachine();
    std::vector<UniqueHandle> held;
    for (const std::u16string prefix : {u"Global\\", u""}) {
        for (const std::u16string& name : names) {
            held.push_back(makeMutex(prefix + name));
            ASSERT_TRUE(held.back());
            EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << held.size();
        }
    }
    const auto after = filesOfTheMachine();
    EXPECT_EQ(after.size(), before.size() + held.size());
    for (const std::string& file : after)
        EXPECT_TRUE(file.starts_with("run/global/") || file.starts_with("run/session/")) << file;
}

TEST(NamedObjects, RefuseBadNames) {
    const std::u16string names[] = {u"Global\\",
                                    u"Local\\",
                                    u"a\\b",
                                    u"Global\\a\\b",
                                    u"Global\\Global\\a",
                                    u"\\a",
                                    std::u16string(261, u'n'),
                                    u"Global\\" + std::u16string(254, u'n'),
                                    std::u16string(10'000, u'n')};
    for (const std::u16string& name : names) {
        for (const bool refused : {!makeMutex(name), !makeSection(name), !openSection(name)}) {
            EXPECT_TRUE(refused);
            EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME) << name.size();
        }
    }
    EXPECT_FALSE(openSection(u""));
}

TEST(NamedObjects, AreNotLedAstrayByWhatStandsInTheirPlace) {
    ASSERT_TRUE(isFree(u"Global\\First"));  // makes the folder
    const fs::path folder = fileOf("First").parent_path();
    const fs::path target = zlk::test::newFolder() / "target";
    zlk::test::writeFile(target, "precious");
    fs::create_symlink(target, folder / "Link");
    fs::create_symlink(target / "nowhere", folder / "Dangling");
    fs::create_directory(folder / "Folder");
    zlk::test::writeFile(folder / "Open", "");
    fs::permissions(folder / "Open", fs::perms::all);
    for (const char16_t* name : {u"Link", u"Dangling", u"Folder", u"Open"}) {
        EXPECT_FALSE(makeSection(std::u16string(u"Global\\") + name));
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(zlk::test::readFile(target), "precious");
}

TEST(NamedObjects, WithoutANameAreEachTheirOwn) {
    const UniqueHandle first(CreateMutexW(nullptr, 1, nullptr)),
        second(CreateMutexW(nullptr, 0, u""));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    inThread([&] {
        EXPECT_EQ(WaitForSingleObject(first.get(), 0), WAIT_TIMEOUT);
        EXPECT_EQ(WaitForSingleObject(second.get(), 0), WAIT_OBJECT_0);
    });
    const View one = viewOf(makeSection(u"")), two = viewOf(makeSection(u""));
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
        EXPECT_FALSE(CloseHandle(bad));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    SetLastError(0);
    EXPECT_FALSE(viewOf(mutex));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

}  // namespace
