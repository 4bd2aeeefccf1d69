#pragma once
// Folders with a history, for tests.

#include <fcntl.h>

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "tests/support/TestMachine.h"
#include "tools/zlkcam/history/FolderHistory.h"
#include "tools/zlkcam/history/Generation.h"

namespace zlk::test {

inline Descriptor openFolder(const fs::path& path) {
    return Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

inline FolderHistory historyOf(const fs::path& folder) {
    return FolderHistory::read(openFolder(folder).get());
}

inline Digest digestOf(const std::string& bytes, DigestKind kind = DigestKind::Xxh128) {
    Digester digester(kind);
    digester.add(std::as_bytes(std::span(bytes)));
    return digester.digest();
}

/// The record of a file that holds these bytes.
inline HashRecord recordOf(const std::string& path, const std::string& bytes) {
    HashRecord record;
    record.path = path;
    record.size = bytes.size();
    record.modified = 1'700'000'000;
    record.sums = {digestOf(bytes)};
    record.source = "DCIM/" + path;
    return record;
}

inline std::string addGeneration(const fs::path& folder, const std::vector<HashRecord>& records) {
    Generation generation;
    generation.device = "#Zephyr-Lanthorn#RemovableDrive#E";
    generation.records = records;
    return writeGeneration(openFolder(folder).get(), generation);
}

/// The example of two generations, which another program wrote, in a folder of the test's own.
inline fs::path exampleHistory() {
    const auto folder = newFolder();
    fs::copy(fs::path(ZLK_SOURCE_DIR) / "tests/tools/asc-mhl/example", folder,
             fs::copy_options::recursive);
    return folder;
}

}  // namespace zlk::test
