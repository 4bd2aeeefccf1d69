// The settings store between processes, and what becomes of it when one is killed, may not write,
// or finds a file that it can't trust or read.

#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

fs::path storeFile() {
    return machineRoot() / "registry.db";
}

/// Lets other users read the store, and change nothing.
void letOthersRead() {
    fs::permissions(machineRoot().parent_path(), fs::perms(0755));
    fs::permissions(machineRoot(), fs::perms(0755));
    for (const auto& entry : fs::directory_iterator(machineRoot()))
        if (entry.is_regular_file()) fs::permissions(entry.path(), fs::perms(0644));
}

/// The store as another program would find it: no process has it open.
void makeStore() {
    ASSERT_EQ(ChildProcess("writesAScene").wait(), 0);
}

void removeStore(std::initializer_list<const char*> files) {
    for (const char* suffix : files) fs::remove(storeFile().string() + suffix);
}

void makeStoreWithoutLog() {
    makeStore();
    removeStore({"-wal", "-shm"});
}

}  // namespace

ZLK_CHILD(writesAScene) {
    return setText(createKey(HKEY_LOCAL_MACHINE, scene).get(), u"v", u"kept");
}

// Says the results of a read and a write, and what the platform had to say about them.
ZLK_CHILD(triesTheStore) {
    if (!child.arguments.empty() && ::setresuid(somebodyElse, somebodyElse, somebodyElse) != 0)
        return 1;
    addDiagnosticSink(keepLine);
    const LSTATUS result = tryOpen(HKEY_LOCAL_MACHINE, scene);
    child.say(result ? std::to_string(result)
                     : text(openKey(HKEY_LOCAL_MACHINE, scene).get(), u"v"));
    child.say(std::to_string(tryCreate(HKEY_LOCAL_MACHINE, u"Software\\Scene\\made")));
    child.say(std::to_string(tryCreate(HKEY_LOCAL_MACHINE, scene)));
    child.say(said);
    return 0;
}

struct Tried {
    std::string read, make, openForWriting, said;
};

static Tried tryStore(bool asSomebodyElse = false) {
    ChildProcess child("triesTheStore", std::vector<std::string>(asSomebodyElse, "else"));
    Tried tried;
    for (std::string* line : {&tried.read, &tried.make, &tried.openForWriting, &tried.said})
        *line = child.hear();
    EXPECT_EQ(child.wait(), 0);
    return tried;
}

ZLK_CHILD(addsKeysAndValues) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    const std::string& own = child.arguments.at(0);
    child.say("ready");
    child.hear();
    for (int i = 0; i < 100; ++i) {
        const std::u16string name = wideText(own + std::to_string(i));
        if (tryCreate(key.get(), name) || setText(key.get(), name.c_str(), name)) return 1;
        // Keys that the other one makes meanwhile move it to a higher index and never past the end.
        const std::vector<std::string> names = subKeys(key.get());
        if (std::find(names.begin(), names.end(), utf8Text(name)) == names.end()) return 2;
    }
    return 0;
}

TEST(RegistryShared, KeyTakesWhatTwoProcessesWriteAndEnumerate) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    ChildProcess a("addsKeysAndValues", {"A"}), b("addsKeysAndValues", {"B"});
    for (ChildProcess* child : {&a, &b}) ASSERT_EQ(child->hear(), "ready");
    for (ChildProcess* child : {&a, &b}) child->say("go");
    EXPECT_EQ(a.wait(), 0);
    EXPECT_EQ(b.wait(), 0);
    EXPECT_EQ(subKeys(key.get()).size(), 200u);
    EXPECT_EQ(valueNames(key.get()).size(), 200u);
}

ZLK_CHILD(countsUp) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    for (int i = 0; !child.hear().empty(); ++i) {
        setText(key.get(), u"v", wideText(std::to_string(i)));
        if (i % 10 == 9) RegDeleteTreeW(key.get(), u"sub");
        if (i % 10 == 0) tryCreate(key.get(), u"sub");
        child.say(std::to_string(i));
    }
    return 0;
}

TEST(RegistryShared, KeyShowsEachCommitOfAnotherProcessAtOnce) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    ChildProcess writer("countsUp");
    for (int i = 0; i < 200; ++i) {
        text(key.get(), u"v");
        writer.say("next");
        const std::string last = writer.hear();
        ASSERT_EQ(text(key.get(), u"v"), last);
        ASSERT_EQ(subKeys(key.get()).size(), i % 10 == 9 ? 0u : 1u);
        ASSERT_EQ(static_cast<bool>(openKey(key.get(), u"sub")), i % 10 != 9);
    }
}

ZLK_CHILD(writesWithoutEnd) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    child.say("started");
    // Counts on from the writer before, so that its last values and this one's first ones fit.
    const Answer last = query(key.get(), u"last");
    for (unsigned i = last.result ? 0 : last.data.at(0) + 1u;; ++i) {
        const Bytes data(3000 + i % 3 * 3000, static_cast<BYTE>(i));
        if (setBytes(key.get(), u"v", data)) return 1;
        if (setBytes(key.get(), u"last", {static_cast<BYTE>(i)})) return 2;
        if (tryCreate(key.get(), u"tree\\a\\b") || RegDeleteTreeW(key.get(), u"tree")) return 3;
    }
}

TEST(RegistryShared, StoreHasTheOldOrTheNewValueAfterAKilledWriter) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    for (unsigned round = 0; round < 24; ++round) {
        ChildProcess writer("writesWithoutEnd");
        ASSERT_EQ(writer.hear(), "started");
        // The reader's own progress decides when: some rounds in the middle of everything.
        for (unsigned reads = 0; reads < 1 + round % 8 * 20; ++reads) {
            const Answer answer = query(key.get(), u"v");
            if (answer.result == ERROR_FILE_NOT_FOUND) continue;
            ASSERT_EQ(answer.result, ERROR_SUCCESS);
            ASSERT_EQ(answer.data, Bytes(answer.data.size(), answer.data.at(0)));
        }
        writer.kill();
        const Answer value = query(key.get(), u"v"), last = query(key.get(), u"last");
        if (value.result == ERROR_FILE_NOT_FOUND) continue;
        ASSERT_EQ(value.data, Bytes(value.data.size(), value.data.at(0)));
        ASSERT_EQ(value.data.size() % 3000, 0u);
        if (last.result == ERROR_SUCCESS) {
            ASSERT_LE(static_cast<BYTE>(value.data[0] - last.data.at(0)), 1);
        }
        ASSERT_EQ(setText(key.get(), u"mine", u"x"), ERROR_SUCCESS);
    }
    makeStore();
    EXPECT_EQ(tryStore().read, "kept");
}

// With and without the handlers that tidy up before a fork.
TEST(RegistryShared, StoreServesParentAndForkedChildEachOnItsOwnConnection) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    const auto inChild = [&] {
        return text(key.get(), u"v") != "of the parent" ||
               setText(key.get(), u"v", u"of the child") || tryCreate(key.get(), u"of the child");
    };
    for (const auto doFork : {::fork, ::_Fork}) {
        setText(key.get(), u"v", u"of the parent");
        EXPECT_EQ(forked(inChild, doFork), 0);
        EXPECT_EQ(text(key.get(), u"v"), "of the child");
        EXPECT_EQ(setText(key.get(), u"v", u"and on"), ERROR_SUCCESS);
    }
    EXPECT_THAT(subKeys(key.get()), ElementsAre("of the child"));
}

TEST(RegistryShared, StoreServesAChildForkedWhileOtherThreadsAreInIt) {
    if (underSanitizer) GTEST_SKIP() << "the sanitizer's own allocator hangs in such a child";
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    std::atomic<bool> stop = false;
    std::atomic<int> failures = 0;
    const auto work = [&](const WCHAR* name) {
        while (!stop)
            if (setText(key.get(), name, u"x") || text(key.get(), name) != "x") ++failures;
    };
    std::thread a(work, u"a"), b(work, u"b");
    const auto inChild = [&] {
        return setText(key.get(), u"v", u"x") || text(key.get(), u"v") != "x";
    };
    for (int round = 0; round < 20; ++round) EXPECT_EQ(forked(inChild), 0);
    stop = true;
    a.join();
    b.join();
    EXPECT_EQ(failures, 0);
}

ZLK_CHILD(keepsReadingAsSomebodyElse) {
    if (::setresuid(somebodyElse, somebodyElse, somebodyElse) != 0) return 1;
    const RegistryKey key = openKey(HKEY_LOCAL_MACHINE, scene);
    do child.say(text(key.get(), u"v"));
    while (!child.hear().empty());
    return 0;
}

TEST(RegistryShared, StoreIsReadByAUserWhoMayNotWriteIt) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    makeStore();
    const auto readsOnly = [&](const char* when, const std::string& value) {
        letOthersRead();
        const Tried tried = tryStore(true);
        EXPECT_EQ(tried.read, value) << when;
        EXPECT_EQ(tried.make, std::to_string(ERROR_ACCESS_DENIED)) << when;
        EXPECT_EQ(tried.openForWriting, std::to_string(ERROR_ACCESS_DENIED)) << when;
    };
    readsOnly("nobody has it open", "kept");
    ChildProcess writer("countsUp");
    for (const char* value : {"0", "1"}) {
        writer.say("next");
        ASSERT_EQ(writer.hear(), value);
        readsOnly("its writer has it open", value);
    }
    writer.kill();
    readsOnly("its writer was killed", "1");
    makeStoreWithoutLog();
    readsOnly("it has no log", "kept");
    EXPECT_FALSE(fs::exists(storeFile().string() + "-wal"));
    // The reader comes before the log, while it is made, or after.
    for (unsigned round = 0; round < 20; ++round) {
        makeStoreWithoutLog();
        letOthersRead();
        ChildProcess reader("keepsReadingAsSomebodyElse"), next("countsUp");
        EXPECT_EQ(reader.hear(), "kept");
        next.say("next");
        ASSERT_EQ(next.hear(), "0");
        reader.say("again");
        EXPECT_EQ(reader.hear(), "0") << "it got a log";
    }
}

TEST(RegistryShared, StoreThatWasReplacedIsNotTakenForTheOldOne) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    setText(key.get(), u"v", u"of the old one");
    const fs::path away = newFolder();
    for (const char* suffix : {"", "-wal", "-shm"})
        fs::rename(storeFile().string() + suffix, away / ("old" + std::string(suffix)));
    EXPECT_EQ(setText(key.get(), u"v", u"to nobody"), ERROR_KEY_DELETED);
    EXPECT_FALSE(openKey(HKEY_LOCAL_MACHINE, scene));
    makeStore();
    const RegistryKey next = openKey(HKEY_LOCAL_MACHINE, scene);
    EXPECT_EQ(text(next.get(), u"v"), "kept");
    EXPECT_EQ(query(key.get(), u"v").result, ERROR_KEY_DELETED);
    // While nobody has it open, the next one may get the number of its file.
    EXPECT_EQ(forked([] { return 0; }), 0);
    removeStore({"", "-wal", "-shm"});
    makeStore();
    EXPECT_EQ(query(next.get(), u"v").result, ERROR_KEY_DELETED);
}

/// Neither reads nor makes a key in a store that isn't used, and says why.
static void expectRefusal(LSTATUS error, const std::string& file, const char* why = "") {
    const Tried tried = tryStore();
    EXPECT_EQ(tried.read, std::to_string(error));
    EXPECT_EQ(tried.make, std::to_string(error));
    EXPECT_THAT(tried.said, AllOf(HasSubstr(file), HasSubstr(why)));
}

TEST(RegistryTrust, RefusesWhatOthersMayWriteAndSaysWhy) {
    const struct {
        const char* file;  // empty: the folder
        unsigned mode;
        const char* why;
        uid_t owner = ::geteuid();
    } cases[] = {
        {"registry.db", 0606, "everybody may write it"},
        {"registry.db-wal", 0602, "everybody may write it"},
        {"registry.db", 0660, "may write it"},
        {"", 0777, "everybody may write it"},
        {"", 0770, "may write it"},
        {"registry.db", 0600, "belongs to", somebodyElse},
    };
    makeStore();
    for (const auto& each : cases) {
        if (each.owner != ::geteuid() && ::geteuid() != 0) continue;  // only root gives files away
        SCOPED_TRACE(each.file + std::string(": ") + each.why);
        const std::string file = *each.file ? machineRoot() / each.file : machineRoot();
        struct stat before;
        ASSERT_EQ(::stat(file.c_str(), &before), 0);
        ASSERT_EQ(::chown(file.c_str(), each.owner, before.st_gid), 0);
        ASSERT_EQ(::chmod(file.c_str(), each.mode), 0);
        expectRefusal(ERROR_ACCESS_DENIED, file, each.why);
        ASSERT_EQ(::chown(file.c_str(), before.st_uid, before.st_gid), 0);
        ASSERT_EQ(::chmod(file.c_str(), before.st_mode), 0);
        ASSERT_EQ(tryStore().read, "kept");
    }
}

TEST(RegistryTrust, RefusesABrokenStoreAndLeavesItAsItIs) {
    makeStore();
    const std::string whole = readFile(storeFile());
    std::string otherVersion = whole, otherProgram = whole, damaged = whole;
    otherVersion.at(63) = 2;
    otherProgram.at(68) ^= 1;
    for (std::size_t at = 4096; at < damaged.size(); ++at) damaged[at] = static_cast<char>(at * 7);
    for (const std::string& bytes : {std::string(), std::string(10'000, 'x'), whole.substr(0, 5000),
                                     damaged, otherVersion, otherProgram}) {
        SCOPED_TRACE(bytes.substr(0, 100));
        writeFile(storeFile(), bytes);
        expectRefusal(ERROR_BADDB, "registry.db");
        EXPECT_EQ(readFile(storeFile()), bytes);
    }
    fs::remove(storeFile());
    fs::create_directory(storeFile());
    expectRefusal(ERROR_BADDB, "registry.db");
    fs::remove(storeFile());
    writeFile(storeFile().string() + "-wal", "the only copy of something");
    EXPECT_EQ(tryStore().make, std::to_string(ERROR_BADDB));
    EXPECT_EQ(readFile(storeFile().string() + "-wal"), "the only copy of something");
}

TEST(RegistryTrust, DoesNotMisreadColumnsOfAnotherType) {
    makeStore();
    fs::remove(storeFile());
    const char* script = R"(import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
db.executescript("""
  PRAGMA application_id = 0x5A4C4B52; PRAGMA user_version = 1;
  CREATE TABLE key(id INTEGER PRIMARY KEY, parent, folded, name);
  CREATE TABLE value(key, place, folded, name, type, data);
  INSERT INTO key VALUES (1, NULL, x'', x''), (2, NULL, x'', x'');
""")
def key(id, parent, name):
    db.execute('INSERT INTO key VALUES (?,?,?,?)', (id, parent, name.upper().encode('utf-16-be'), name))
key(3, 1, 'Software')
key(4, 3, 'Scene')
for place, (name, type, data) in enumerate([
        (b'\0v', 'text', b'x'), (b'\0v', 1, 'text'), (b'\0v', -1, b''), (b'\0v', 1, None),
        ('v', 1, b''), (b'\0', 1, b''), (b'\0v', 1, bytes(2000000))]):
    id = 10 + place
    db.execute('INSERT INTO key VALUES (?, 4, ?, ?)', (id, b'\0%d' % place, b'\0%d' % place))
    db.execute('INSERT INTO value VALUES (?,?,?,?,?,?)', (id, 1, b'\0V', name, type, data))
db.commit())";
    ASSERT_EQ(runProgram({"python3", "-c", script, storeFile()}).status, 0);
    fs::permissions(storeFile(), fs::perms(0600));
    const RegistryKey key = openKey(HKEY_LOCAL_MACHINE, scene);
    EXPECT_TRUE(key);
    for (int row = 0; row < 7; ++row)
        EXPECT_EQ(tryOpen(key.get(), wideText(std::to_string(row))), ERROR_BADDB) << row;
    WCHAR name[256];
    DWORD length = 256;
    EXPECT_EQ(
        RegEnumKeyExW(HKEY_LOCAL_MACHINE, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
        ERROR_BADDB);
}

TEST(RegistryShared, StoreOnAFullDiskKeepsTheOldValue) {
    fs::create_directories(machineRoot());
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", machineRoot().c_str(), "tmpfs", 0, "size=512k,mode=0700") != 0)
        GTEST_SKIP() << "nothing can be mounted here";
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    EXPECT_EQ(setText(key.get(), u"v", u"kept"), ERROR_SUCCESS);
    LSTATUS result = ERROR_SUCCESS;
    std::size_t written = 0;
    for (; !result && written < 100; ++written)
        result = setBytes(key.get(), wideText("fill" + std::to_string(written)).c_str(),
                          Bytes(50'000, 1));
    EXPECT_EQ(result, ERROR_DISK_FULL);
    EXPECT_EQ(setBytes(key.get(), u"v", Bytes(400'000, 2)), ERROR_DISK_FULL);
    EXPECT_EQ(text(key.get(), u"v"), "kept");
    EXPECT_EQ(valueNames(key.get()).size(), written);
    EXPECT_EQ(tryStore().read, "kept") << "in another process";
    EXPECT_EQ(::umount2(machineRoot().c_str(), MNT_DETACH), 0);
}

TEST(RegistryShared, StoreHoldsTenThousandKeys) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, scene);
    for (int i = 0; i < 10'000; ++i) {
        const std::string name = (i % 2 ? "Cam" : "cam") + std::to_string(i * 7919 % 10'000);
        ASSERT_EQ(tryCreate(key.get(), wideText(name)), LSTATUS{ERROR_SUCCESS});
    }
    std::vector<std::string> names = subKeys(key.get());
    EXPECT_EQ(names.size(), 10'000u);
    for (const std::string& name : names)
        setBytes(openKey(key.get(), wideText(name), KEY_ALL_ACCESS).get(), u"v", Bytes(4000));
    const std::size_t before = ::mallinfo2().uordblks;
    for (const std::string& name : names) openKey(key.get(), wideText(name));
    EXPECT_LT(::mallinfo2().uordblks - before, 20'000'000u);  // nothing, under a sanitizer
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end(), [](const auto& a, const auto& b) {
        return compareIgnoringCase(wideText(a), wideText(b)) < 0;
    }));
    EXPECT_TRUE(openKey(key.get(), u"CAM9999"));
    EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, scene), LSTATUS{ERROR_SUCCESS});
}

}  // namespace zlk::test
