#pragma once
// A file of a history as it is read: somebody else may have written it, or be writing to it.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "tools/zlkcam/history/Digest.h"

namespace zlk {

/// Why a file of a history is left out; the text completes "It is left out: ".
class UnusableFile : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Gives the next bytes of a document; none at its end.
using ByteSource = std::function<std::size_t(std::span<char> room)>;

// Of 300,000 files a manifest has some 130 MB.
inline constexpr std::uint64_t largestHistoryFile = std::uint64_t{512} << 20;

class HistoryFile {
  public:
    /// Opens a file directly in an open folder. Throws UnusableFile where that isn't possible
    /// without following a link or waiting for somebody, or where it has more bytes than `limit`.
    HistoryFile(int folder, const std::string& name, std::uint64_t limit = largestHistoryFile);

    /// Has the bytes that are read from now on summed up too.
    void sumUp(DigestKind kind) { digester_.emplace(kind); }
    /// The sum of all of the file, whatever of it was read by then.
    Digest digest();

    /// A ByteSource. Throws UnusableFile.
    std::size_t read(std::span<char> room);

  private:
    Descriptor file_;
    const std::uint64_t limit_;
    std::uint64_t size_ = 0;
    std::optional<Digester> digester_;
};

/// The names of what lies in an open folder. Throws UnusableFile.
std::vector<std::string> namesIn(int folder);

}  // namespace zlk
