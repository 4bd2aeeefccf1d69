#include "tools/zlkcam/ContentSum.h"

#include <xxhash.h>

#include <bit>
#include <new>
#include <vector>

#include "platform/files.h"
#include "platform/named_objects.h"

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
    XXH128_canonical_t sum;
    XXH128_canonicalFromHash(&sum, XXH3_128bits_digest(state_.get()));
    return std::bit_cast<ContentSum>(sum);
}

std::optional<ContentSum> contentSum(const std::u16string& file) {
    const UniqueHandle handle(CreateFileW(file.c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle) return std::nullopt;
    ContentSummer summer;
    std::vector<std::byte> block(256 * 1024);
    for (DWORD read = 1; read > 0;) {
        if (!ReadFile(handle.get(), block.data(), static_cast<DWORD>(block.size()), &read, nullptr))
            return std::nullopt;
        summer.add(std::span(block).first(read));
    }
    return summer.sum();
}

std::string sumText(const ContentSum& sum) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : sum) {
        text += digits[std::to_integer<unsigned>(byte) >> 4];
        text += digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

}  // namespace zlk
