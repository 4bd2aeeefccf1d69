#pragma once
// The sums by which records of copies name the contents of a file.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tools/zlkcam/ContentSum.h"

namespace zlk {

/// In the order in which a manifest lists them; SHA-256 stands in sums files only.
enum class DigestKind : std::uint8_t { C4, Md5, Sha1, Xxh128, Xxh3, Xxh64, Sha256 };

inline constexpr DigestKind digestKinds[] = {
    DigestKind::C4,   DigestKind::Md5,   DigestKind::Sha1,  DigestKind::Xxh128,
    DigestKind::Xxh3, DigestKind::Xxh64, DigestKind::Sha256};

/// As manifests and the suffixes of sums files have it: "xxh128".
const char* digestName(DigestKind kind);
/// None for a name of no kind.
std::optional<DigestKind> digestKind(std::string_view name);
/// Bytes of a sum of this kind, at most 64.
std::size_t digestSize(DigestKind kind);

/// A sum of one kind; two are equal if both that and all bytes are.
struct Digest {
    DigestKind kind = DigestKind::Xxh128;
    std::array<std::byte, 64> bytes{};  ///< zeros behind digestSize

    Digest() = default;
    explicit Digest(const ContentSum& sum);
    /// Of one of XXH128.
    ContentSum contentSum() const;
    bool operator==(const Digest&) const = default;

    /// In the form of its kind: hexadecimal digits, or `c4` with 88 digits of base 58.
    std::string text() const;
    /// None for what is no sum of this kind.
    static std::optional<Digest> parse(DigestKind kind, std::string_view text);
};

/// A sum in the making.
class Digester {
  public:
    explicit Digester(DigestKind kind);
    ~Digester();

    void add(std::span<const std::byte> bytes);
    /// Of all that was added. It ends the sum: nothing is added behind it.
    Digest digest();

    class Algorithm;

  private:
    const DigestKind kind_;
    const std::unique_ptr<Algorithm> algorithm_;
};

}  // namespace zlk
