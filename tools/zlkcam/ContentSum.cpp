#include "tools/zlkcam/ContentSum.h"

#include <xxhash.h>

// This header replaces functions of xxhash.h by others that choose at run time what suits the
// x86-64 processor.
#if defined(__x86_64__) && __has_include(<xxh_x86dispatch.h>)
#include <xxh_x86dispatch.h>
#endif

#include <bit>
#include <new>

namespace zlk {

void ContentSummer::FreeState::operator()(XXH3_state_s* state) const noexcept {
    XXH3_freeState(state);
}

ContentSummer::ContentSummer() : state_(XXH3_createState()) {
    if (!state_) throw std::bad_alloc();
    XXH3_128bits_reset(state_.get());
}

void ContentSummer::add(std::span<const std::byte> bytes) {
    XXH3_128bits_update(state_.get(), bytes.data(), bytes.size());
    size_ += bytes.size();
}

ContentSum ContentSummer::sum() const {
    // The canonical form has the highest byte first on every machine.
    XXH128_canonical_t sum;
    XXH128_canonicalFromHash(&sum, XXH3_128bits_digest(state_.get()));
    return std::bit_cast<ContentSum>(sum);
}

std::string hexText(std::span<const std::byte> bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::byte byte : bytes) {
        text += digits[std::to_integer<unsigned>(byte) >> 4];
        text += digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

std::string sumText(const ContentSum& sum) {
    return hexText(sum);
}

}  // namespace zlk
