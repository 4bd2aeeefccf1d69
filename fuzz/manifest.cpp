// Fuzzes the readers of manifests and sums files. All records that are accepted must be harmless,
// and a manifest written from them must be read back the same.

#include <algorithm>
#include <cstring>

#include "fuzz/Input.h"
#include "tools/zlkcam/history/ManifestReader.h"
#include "tools/zlkcam/history/ManifestWriter.h"
#include "tools/zlkcam/history/RecordMerge.h"
#include "tools/zlkcam/history/SumsFile.h"

using namespace zlk;

namespace {

/// A source of bytes that gives at most `size` at a time, so that limits between blocks fall
/// anywhere.
ByteSource piecesOf(std::string_view text, std::size_t size) {
    return [text, size](std::span<char> room) mutable {
        const std::size_t given = std::min({room.size(), size, text.size()});
        std::memcpy(room.data(), text.data(), given);
        text.remove_prefix(given);
        return given;
    };
}

/// The records that a manifest can hold, without their sums of SHA-256: those whose path XML can
/// hold and which have a sum of another kind.
Generation writable(const RunContent& content) {
    Generation generation;
    for (HashRecord record : content.records) {
        std::erase_if(record.sums,
                      [](const Digest& sum) { return sum.kind == DigestKind::Sha256; });
        if (isXmlText(record.path) && !record.sums.empty())
            generation.records.push_back(std::move(record));
    }
    return generation;
}

/// Writes a manifest and reads it back.
void requireSameAgain(const RunContent& content) {
    const Generation generation = writable(content);
    std::string document;
    writeManifest(generation, [&](std::string_view text) { document += text; });
    const RunContent again = readManifest(piecesOf(document, document.size()));
    fuzz::require(again.records.size() == generation.records.size());
    for (std::size_t i = 0; i < again.records.size(); ++i) {
        fuzz::require(again.records[i].path == generation.records[i].path);
        fuzz::require(again.records[i].size == generation.records[i].size);
        fuzz::require(again.records[i].sums.size() == generation.records[i].sums.size());
    }
}

/// No path leads out of the folder, and records that are merged with themselves come out sorted,
/// with each path once.
void requireHarmless(RunContent content) {
    for (const HashRecord& record : content.records) fuzz::require(isRecordedPath(record.path));
    RecordMerge merge;
    merge.add(content, 0);
    merge.add(std::move(content), 1);
    const std::vector<HashRecord> records = merge.take();
    for (std::size_t i = 1; i < records.size(); ++i)
        fuzz::require(records[i - 1].path < records[i].path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    // The first byte plus 1 is the size of the pieces.
    const std::size_t piece = input.byte() + 1u;
    const std::string text = input.narrow(size);
    try {
        RunContent content = readManifest(piecesOf(text, piece));
        requireSameAgain(content);
        requireHarmless(std::move(content));
    } catch (const UnusableFile&) {
    }
    try {
        requireHarmless(readSums(piecesOf(text, piece), DigestKind::Xxh128));
    } catch (const UnusableFile&) {
    }
    return 0;
}
