#pragma once
// Counts the files of an unloading by what became of them, and puts the counts into words.

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

inline std::string filesText(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " file" : " files");
}

template <class Predicate>
std::size_t countOf(const std::vector<UnloadedFile>& files, Predicate predicate) {
    return static_cast<std::size_t>(std::ranges::count_if(files, predicate));
}

inline std::size_t countOf(const std::vector<UnloadedFile>& files, Outcome outcome) {
    return countOf(files, [=](const UnloadedFile& file) { return file.outcome() == outcome; });
}

template <class Predicate>
std::uint64_t bytesOf(const std::vector<UnloadedFile>& files, Predicate predicate) {
    std::uint64_t bytes = 0;
    for (const UnloadedFile& file : files)
        if (std::invoke(predicate, file)) bytes += file.knownSize();
    return bytes;
}

}  // namespace zlk
