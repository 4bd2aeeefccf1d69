// Fuzzes the text form of settings: what was parsed and written must be parsed and written the same
// again.

#include "tools/zlkcam/RegFile.h"

#include "fuzz/Input.h"
#include "tools/zlkcam/Failure.h"

using namespace zlk;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<SettingsKey> keys;
    try {
        keys = parseSettingsText({reinterpret_cast<const char*>(data), size});
    } catch (const Failure&) {
        return 0;
    }
    std::vector<std::string> leftOut;
    // Once written, nothing is left that the form can't hold.
    const std::string once = writeSettingsText(keys, leftOut);
    std::vector<std::string> leftOutAgain;
    fuzz::require(writeSettingsText(parseSettingsText(once), leftOutAgain) == once);
    fuzz::require(leftOutAgain.empty());
    return 0;
}
