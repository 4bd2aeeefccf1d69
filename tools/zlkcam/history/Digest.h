#pragma once
// The sums (digests) by which records of copies identify the contents of files, and how they are
// computed, written and parsed.

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

/// The kinds of sums, in the order in which a manifest lists them. SHA-256 is never written into a
/// manifest.
enum class DigestKind : std::uint8_t { C4, Md5, Sha1, Xxh128, Xxh3, Xxh64, Sha256 };

inline constexpr DigestKind digestKinds[] = {
    DigestKind::C4,   DigestKind::Md5,   DigestKind::Sha1,  DigestKind::Xxh128,
    DigestKind::Xxh3, DigestKind::Xxh64, DigestKind::Sha256};

/// The name in manifests and in the suffixes of sums files, such as "xxh128".
const char* digestName(DigestKind kind);
std::optional<DigestKind> digestKind(std::string_view name);
/// The number of bytes of a sum of this kind, at most 64.
std::size_t digestSize(DigestKind kind);

/// A finished sum.
struct Digest {
    DigestKind kind = DigestKind::Xxh128;
    std::array<std::byte, 64> bytes{};  ///< zeros after the first digestSize bytes

    Digest() = default;
    /// A sum of kind XXH128.
    explicit Digest(const ContentSum& sum);
    /// The bytes as a ContentSum; only for a sum of kind XXH128.
    ContentSum contentSum() const;
    bool operator==(const Digest&) const = default;

    /// The text in manifests and sums files: hexadecimal digits in lower case, or for C4 `c4`
    /// followed by 88 digits of base 58.
    std::string text() const;
    /// Parses what text() returns; hexadecimal digits may be in upper case, too. None if the text
    /// isn't a sum of this kind.
    static std::optional<Digest> parse(DigestKind kind, std::string_view text);
};

/// Computes a sum piece by piece. Not thread-safe.
class Digester {
  public:
    explicit Digester(DigestKind kind);
    ~Digester();

    void add(std::span<const std::byte> bytes);
    /// The sum of all bytes that were added. To be called once, and nothing may be added
    /// afterwards.
    Digest digest();

    class Algorithm;

  private:
    const DigestKind kind_;
    const std::unique_ptr<Algorithm> algorithm_;
};

}  // namespace zlk
