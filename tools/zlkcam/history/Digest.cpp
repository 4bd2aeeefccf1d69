#include "tools/zlkcam/history/Digest.h"

#include <nettle/nettle-meta.h>
#include <xxhash.h>

#include <algorithm>
#include <new>
#include <vector>

namespace zlk {
namespace {

struct KindRow {
    const char* name;
    std::size_t size;
};
// In the order of DigestKind.
constexpr KindRow rows[] = {{"c4", 64},  {"md5", 16},  {"sha1", 20},  {"xxh128", 16},
                            {"xxh3", 8}, {"xxh64", 8}, {"sha256", 32}};

const KindRow& rowOf(DigestKind kind) {
    return rows[static_cast<std::size_t>(kind)];
}

// The digits 0, O, I and l are left out because people mistake them for each other.
constexpr std::string_view base58 = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr std::string_view c4Prefix = "c4";
constexpr std::size_t c4Digits = 88;  // as many as the largest number of 512 bits needs

/// Writes a number of 512 bits, highest byte first, in base 58: each round divides it by 58, byte
/// by byte, and gives one digit from the end.
std::string c4Text(std::array<std::byte, 64> number) {
    std::string text(c4Digits, base58.front());
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit) {
        unsigned rest = 0;
        for (std::byte& byte : number) {
            rest = rest << 8 | std::to_integer<unsigned>(byte);
            byte = static_cast<std::byte>(rest / 58);
            rest %= 58;
        }
        *digit = base58[rest];
    }
    return std::string(c4Prefix) + text;
}

/// The reverse of c4Text. For each digit, `number`, which has to be 0 at first, is multiplied by
/// 58, and the digit is added. False if the prefix, the length or a digit is wrong, or the number
/// gets too large.
bool parseC4(std::string_view text, std::array<std::byte, 64>& number) {
    if (!text.starts_with(c4Prefix) || text.size() != c4Prefix.size() + c4Digits) return false;
    for (const char digit : text.substr(c4Prefix.size())) {
        const std::size_t value = base58.find(digit);
        if (value == base58.npos) return false;
        auto carry = static_cast<unsigned>(value);
        for (auto byte = number.rbegin(); byte != number.rend(); ++byte) {
            carry += std::to_integer<unsigned>(*byte) * 58;
            *byte = static_cast<std::byte>(carry & 0xFF);
            carry >>= 8;
        }
        if (carry) return false;
    }
    return true;
}

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

bool parseHex(std::string_view text, std::span<std::byte> bytes) {
    if (text.size() != 2 * bytes.size()) return false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const int high = hexValue(text[2 * i]), low = hexValue(text[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        bytes[i] = static_cast<std::byte>(high << 4 | low);
    }
    return true;
}

}  // namespace

const char* digestName(DigestKind kind) {
    return rowOf(kind).name;
}

std::optional<DigestKind> digestKind(std::string_view name) {
    const auto found = std::ranges::find(rows, name, &KindRow::name);
    if (found == std::end(rows)) return std::nullopt;
    return static_cast<DigestKind>(found - std::begin(rows));
}

std::size_t digestSize(DigestKind kind) {
    return rowOf(kind).size;
}

Digest::Digest(const ContentSum& sum) {
    std::ranges::copy(sum, bytes.begin());
}

ContentSum Digest::contentSum() const {
    ContentSum sum;
    std::copy_n(bytes.begin(), sum.size(), sum.begin());
    return sum;
}

std::string Digest::text() const {
    if (kind == DigestKind::C4) return c4Text(bytes);
    return hexText(std::span(bytes).first(digestSize(kind)));
}

std::optional<Digest> Digest::parse(DigestKind kind, std::string_view text) {
    Digest digest;
    digest.kind = kind;
    const bool isOne = kind == DigestKind::C4
                           ? parseC4(text, digest.bytes)
                           : parseHex(text, std::span(digest.bytes).first(digestSize(kind)));
    return isOne ? std::optional(digest) : std::nullopt;
}

/// What each library's algorithm looks like to Digester.
class Digester::Algorithm {
  public:
    virtual ~Algorithm() = default;
    virtual void add(std::span<const std::byte> bytes) = 0;
    virtual void finish(std::span<std::byte> sum) = 0;
};

namespace {

class Xxh128 final : public Digester::Algorithm {
  public:
    void add(std::span<const std::byte> bytes) override { summer_.add(bytes); }
    void finish(std::span<std::byte> sum) override {
        std::ranges::copy(summer_.sum(), sum.begin());
    }

  private:
    ContentSummer summer_;
};

XXH_errorcode resetXxh64(XXH64_state_t* state) {
    return XXH64_reset(state, 0);
}

/// XXH3 or XXH64, whose functions in the library are the template's arguments.
template <class State, State* (*create)(), XXH_errorcode (*free)(State*), auto reset, auto update,
          auto finished>
class Xxh64Bits final : public Digester::Algorithm {
  public:
    Xxh64Bits() : state_(create()) {
        if (!state_) throw std::bad_alloc();
        reset(state_.get());
    }
    void add(std::span<const std::byte> bytes) override {
        update(state_.get(), bytes.data(), bytes.size());
    }
    void finish(std::span<std::byte> sum) override {
        // The canonical form has the highest byte first on every machine.
        XXH64_canonical_t canonical;
        XXH64_canonicalFromHash(&canonical, finished(state_.get()));
        std::ranges::copy(std::as_bytes(std::span(canonical.digest)), sum.begin());
    }

  private:
    struct Free {
        void operator()(State* state) const noexcept { free(state); }
    };
    std::unique_ptr<State, Free> state_;
};
using Xxh3 = Xxh64Bits<XXH3_state_t, XXH3_createState, XXH3_freeState, XXH3_64bits_reset,
                       XXH3_64bits_update, XXH3_64bits_digest>;
using Xxh64 = Xxh64Bits<XXH64_state_t, XXH64_createState, XXH64_freeState, resetXxh64, XXH64_update,
                        XXH64_digest>;

/// The algorithms of nettle, which all come as a table of functions.
class Cryptographic final : public Digester::Algorithm {
  public:
    explicit Cryptographic(const nettle_hash& hash) : hash_(hash), context_(hash.context_size) {
        hash_.init(context_.data());
    }
    void add(std::span<const std::byte> bytes) override {
        hash_.update(context_.data(), bytes.size(),
                     reinterpret_cast<const std::uint8_t*>(bytes.data()));
    }
    void finish(std::span<std::byte> sum) override {
        hash_.digest(context_.data(), sum.size(), reinterpret_cast<std::uint8_t*>(sum.data()));
    }

  private:
    const nettle_hash& hash_;
    std::vector<std::byte> context_;
};

std::unique_ptr<Digester::Algorithm> algorithmOf(DigestKind kind) {
    switch (kind) {
        case DigestKind::C4:
            return std::make_unique<Cryptographic>(nettle_sha512);
        case DigestKind::Md5:
            return std::make_unique<Cryptographic>(nettle_md5);
        case DigestKind::Sha1:
            return std::make_unique<Cryptographic>(nettle_sha1);
        case DigestKind::Sha256:
            return std::make_unique<Cryptographic>(nettle_sha256);
        case DigestKind::Xxh3:
            return std::make_unique<Xxh3>();
        case DigestKind::Xxh64:
            return std::make_unique<Xxh64>();
        case DigestKind::Xxh128:
            break;
    }
    return std::make_unique<Xxh128>();
}

}  // namespace

Digester::Digester(DigestKind kind) : kind_(kind), algorithm_(algorithmOf(kind)) {}

Digester::~Digester() = default;

void Digester::add(std::span<const std::byte> bytes) {
    algorithm_->add(bytes);
}

Digest Digester::digest() {
    Digest digest;
    digest.kind = kind_;
    algorithm_->finish(std::span(digest.bytes).first(digestSize(kind_)));
    return digest;
}

}  // namespace zlk
