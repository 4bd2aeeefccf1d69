#pragma once
// Random names for the hidden folders and files that hold what isn't complete yet.

#include <string>
#include <string_view>

namespace zlk {

/// A new name: `.zlkcam-` and eight random hexadecimal digits, so that two runs hardly ever get the
/// same one.
std::string newRunName();
/// Whether a name is exactly of this form.
bool isRunName(std::string_view name);

}  // namespace zlk
