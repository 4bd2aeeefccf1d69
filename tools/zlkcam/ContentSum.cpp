#include "tools/zlkcam/ContentSum.h"

#include <xxhash.h>

#include <bit>
#include <memory>
#include <new>
#include <vector>

#include "platform/files.h"
#include "platform/named_objects.h"

namespace zlk {
namespace {

struct FreeState {
    void operator()(XXH3_state_t* state) const noexcept { XXH3_freeState(state); }
};

}  // namespace

std::optional<ContentSum> contentSum(const std::u16string& file) {
    const UniqueHandle handle(CreateFileW(file.c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle) return std::nullopt;
    const std::unique_ptr<XXH3_state_t, FreeState> state(XXH3_createState());
    if (!state || XXH3_128bits_reset(state.get()) == XXH_ERROR) throw std::bad_alloc();
    std::vector<BYTE> block(256 * 1024);
    for (DWORD read = 1; read > 0;) {
        if (!ReadFile(handle.get(), block.data(), static_cast<DWORD>(block.size()), &read, nullptr))
            return std::nullopt;
        XXH3_128bits_update(state.get(), block.data(), read);
    }
    XXH128_canonical_t sum;
    XXH128_canonicalFromHash(&sum, XXH3_128bits_digest(state.get()));
    return std::bit_cast<ContentSum>(sum);
}

}  // namespace zlk
