#pragma once
// Reads a file of a history with care: somebody else may have written it, or be writing to it.

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

/// Why a file of a history isn't used. The text completes "It is left out: ".
class UnusableFile : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Fills `room` with the next bytes of a document and returns their number; 0 at its end.
using ByteSource = std::function<std::size_t(std::span<char> room)>;

// A manifest of 300,000 files has some 130 MB.
inline constexpr std::uint64_t largestHistoryFile = std::uint64_t{512} << 20;

/// An open file of a history, which is read forward only. Used by one thread.
class HistoryFile {
  public:
    /// Opens a file directly in an open folder. Throws UnusableFile if it can't be opened, if it is
    /// a link or no regular file, or if it has more than `limit` bytes. Never waits for another
    /// program.
    HistoryFile(int folder, const std::string& name, std::uint64_t limit = largestHistoryFile);

    /// Makes a sum of the bytes that are read from now on. To be called before the first `read`.
    void sumUp(DigestKind kind) { digester_.emplace(kind); }
    /// The sum of the whole file; reads what wasn't read yet. Only after `sumUp`, and only once.
    /// Throws UnusableFile.
    Digest digest();

    /// Reads like a ByteSource. Throws UnusableFile.
    std::size_t read(std::span<char> room);

  private:
    Descriptor file_;
    const std::uint64_t limit_;
    std::uint64_t size_ = 0;
    std::optional<Digester> digester_;
};

/// The names of all entries of an open folder, with "." and "..". Throws UnusableFile.
std::vector<std::string> namesIn(int folder);

}  // namespace zlk
