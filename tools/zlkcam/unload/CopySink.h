#pragma once
// Takes the bytes of one file as they are read from the device, writes them to any number of
// copies, and makes the file's sums on the way. Without copies it only makes the sums.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/file_sinks.h"
#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/history/Digest.h"
#include "tools/zlkcam/unload/HiddenCopy.h"

namespace zlk {

/// Used for one file, by one thread. After a write to a copy has failed, only the other copies are
/// written.
class CopySink final : public FileSink {
  public:
    /// What is made of the bytes in addition to the XXH128 sum.
    struct Wishes {
        bool sha256 = false;
        std::size_t head = 0;  ///< how many of the first bytes are kept
    };
    /// The components may give small pieces, which are gathered in `block` and written together.
    /// The caller owns `block` and uses it for one file after the other.
    explicit CopySink(std::vector<std::byte>& block) : CopySink(block, Wishes()) {}
    CopySink(std::vector<std::byte>& block, const Wishes& wishes);
    /// To be called before the first bytes. The caller keeps the copy, which has to outlive this.
    void addCopy(HiddenCopy& copy) { copies_.push_back({&copy}); }

    /// Gathers small pieces, to pass them on together. False if bytes were passed on and no copy is
    /// left that can be written. Always true without copies.
    bool take(std::span<const std::byte> bytes) override;
    /// To be called after the last bytes. The results below are complete only then.
    void finish();

    std::uint64_t size() const { return summer_.size(); }
    /// XXH128 of all bytes.
    ContentSum sum() const { return summer_.sum(); }
    /// SHA-256 as hexadecimal digits; empty if it wasn't wished for. May be called once.
    std::string sha256() const;
    /// The first bytes: as many as were wished for, or all of a shorter file.
    std::span<const std::byte> head() const { return head_; }
    /// The errno with which writing this copy failed; 0 if it didn't.
    int errorOf(const HiddenCopy& copy) const;
    /// Whether there were copies, and all failed. The result of the component's call doesn't show
    /// this: not every component returns an error when its target refuses bytes.
    bool isLost() const;

  private:
    struct Copy {
        HiddenCopy* copy;
        int error = 0;  // errno of its first failed write
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
