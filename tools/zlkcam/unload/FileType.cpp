#include "tools/zlkcam/unload/FileType.h"

#include <algorithm>
#include <span>

#include "platform/text.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

// The extensions of a type, in lower case and without their dots.
using Extensions = std::u16string_view[];

constexpr Extensions raw = {u"3fr", u"ari", u"arw", u"bay", u"cap", u"cr2", u"cr3", u"crw", u"dcr",
                            u"dcs", u"dng", u"erf", u"fff", u"gpr", u"iiq", u"k25", u"kdc", u"mdc",
                            u"mef", u"mos", u"mrw", u"nef", u"nrw", u"orf", u"ori", u"pef", u"raf",
                            u"raw", u"rw2", u"rwl", u"sr2", u"srf", u"srw", u"x3f"};
constexpr Extensions jpeg = {u"jpg", u"jpeg", u"jpe", u"jfif"};
constexpr Extensions heif = {u"heic", u"heif", u"hif", u"avif"};
constexpr Extensions video = {u"3g2", u"3gp", u"avi",  u"braw", u"crm", u"dv",  u"insv",
                              u"lrv", u"m2t", u"m2ts", u"m4v",  u"mkv", u"mod", u"mov",
                              u"mp4", u"mpe", u"mpeg", u"mpg",  u"mts", u"mxf", u"r3d",
                              u"tod", u"ts",  u"vob",  u"webm", u"wmv"};
constexpr Extensions audio = {u"aac", u"aif", u"aiff", u"amr", u"flac",
                              u"m4a", u"mp3", u"ogg",  u"wav", u"wma"};

struct Type {
    FileType type;
    std::string_view word;
    std::span<const std::u16string_view> extensions;
};
constexpr Type types[] = {{FileType::Raw, "raw", raw},       {FileType::Jpeg, "jpeg", jpeg},
                          {FileType::Heif, "heif", heif},    {FileType::Video, "video", video},
                          {FileType::Audio, "audio", audio}, {FileType::Other, "other", {}}};

}  // namespace

FileType fileTypeOf(std::u16string_view devicePath) {
    std::u16string_view extension = fileNameIn(devicePath);
    extension.remove_prefix(extensionOf(extension));
    if (extension.empty()) return FileType::Other;
    const auto isOf = [&](const Type& type) {
        return std::ranges::any_of(type.extensions, [&](std::u16string_view known) {
            return equalIgnoringCase(extension.substr(1), known);
        });
    };
    const auto* const found = std::ranges::find_if(types, isOf);
    return found == std::end(types) ? FileType::Other : found->type;
}

std::optional<FileType> fileTypeNamed(std::string_view word) {
    for (const Type& type : types)
        if (equalIgnoringCase(wideText(word), wideText(type.word))) return type.type;
    return std::nullopt;
}

std::string fileTypeWords() {
    std::string words;
    for (const Type& type : types) words.append(words.empty() ? "" : ", ").append(type.word);
    return words;
}

}  // namespace zlk
