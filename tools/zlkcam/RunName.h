#pragma once
// The hidden names under which a run keeps what isn't whole yet.

#include <string>
#include <string_view>

namespace zlk {

/// `.zlkcam-` and digits that no two runs have in common.
std::string newRunName();
/// Whether a name is one of these, and nothing more.
bool isRunName(std::string_view name);

}  // namespace zlk
