#include "tools/zlkcam/RunName.h"

#include <random>

namespace zlk {
namespace {

constexpr std::string_view start = ".zlkcam-", digits = "0123456789abcdef";
constexpr std::size_t size = start.size() + 8;

}  // namespace

std::string newRunName() {
    std::string name(start);
    // A generator that is seeded with the time would give one name to two runs that start together.
    for (std::random_device random; name.size() < size;) name += digits[random() % digits.size()];
    return name;
}

bool isRunName(std::string_view name) {
    return name.starts_with(start) && name.size() == size &&
           name.find_first_not_of(digits, start.size()) == name.npos;
}

}  // namespace zlk
