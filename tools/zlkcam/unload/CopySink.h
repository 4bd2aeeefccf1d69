#pragma once
// Takes the bytes of one file as the device gives them: into copies, or only into sums.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/file_sinks.h"
#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/history/Digest.h"
#include "tools/zlkcam/unload/RunFolder.h"

namespace zlk {

class CopySink final : public FileSink {
  public:
    struct Wishes {
        bool sha256 = false;
        std::size_t head = 0;  ///< so many of the first bytes are kept
    };
    /// The components give small pieces, which are gathered in `block` and passed on together. It
    /// stays the caller's, who uses it for one file after the other.
    explicit CopySink(std::vector<std::byte>& block) : CopySink(block, Wishes()) {}
    CopySink(std::vector<std::byte>& block, const Wishes& wishes);
    /// Before the first bytes; it stays the caller's.
    void addCopy(HiddenCopy& copy) { copies_.push_back({&copy}); }

    /// Goes on as long as one of the copies can be written, if there are any.
    bool take(std::span<const std::byte> bytes) override;
    /// After the last bytes. What stands below is complete only then.
    void finish();

    std::uint64_t size() const { return summer_.size(); }
    ContentSum sum() const { return summer_.sum(); }
    /// As digits; empty if it wasn't wished for. It ends the sum.
    std::string sha256() const;
    std::span<const std::byte> head() const { return head_; }
    /// Why a copy couldn't be written; 0 if it could.
    int errorOf(const HiddenCopy& copy) const;
    /// Whether there were copies, and all of them failed. Not every component tells.
    bool isLost() const;

  private:
    struct Copy {
        HiddenCopy* copy;
        int error = 0;
    };
    bool passOn(std::span<const std::byte> bytes);

    std::vector<std::byte>& block_;
    std::vector<Copy> copies_;
    ContentSummer summer_;
    std::unique_ptr<Digester> sha256_;
    const std::size_t headSize_;
    std::vector<std::byte> head_;
};

}  // namespace zlk
