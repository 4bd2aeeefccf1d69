#include "tools/zlkcam/Documents.h"

#include <algorithm>
#include <cstdio>
#include <pugixml.hpp>

#include "platform/clock.h"
#include "platform/text.h"
#include "tools/zlkcam/Failure.h"

namespace zlk {
namespace {

// The components write their documents with the XML document component. If it can't be created,
// their documents are empty.
constexpr char fromComponents[] =
    "Check that the XML document component is registered: zlkcam register";

/// Parses a document and returns its root element, which has to have the name `root`. Parses in
/// place, so `text` must outlive the document. Throws Failure (BadDocument).
pugi::xml_node load(pugi::xml_document& document, std::string& text, const char* root,
                    const char* advice = fromComponents) {
    // A file's name may contain line ends, which parse_eol would change, or consist of blanks,
    // which parse_ws_pcdata_single keeps. With parse_embed_pcdata an element has no extra node for
    // its text, which saves memory for a long list.
    constexpr unsigned flags =
        (pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_embed_pcdata) &
        ~pugi::parse_eol;
    const auto result =
        document.load_buffer_inplace(text.data(), text.size(), flags, pugi::encoding_utf8);
    const pugi::xml_node element = document.child(root);
    if (!result || !element)
        throw Failure(
            ExitStatus::BadDocument,
            std::string("The components gave an answer that isn't a \"") + root + "\" document.",
            advice);
    return element;
}

/// The text of a time, given in seconds since 1970 UTC, as records and clocks have it.
std::string recordTime(std::int64_t seconds) {
    BrokenDownTime time{};
    _localtime64_s(time, seconds);
    return utf8Text(formatText(u"%02d/%02d/%04d %02d:%02d:%02d", time.month + 1, time.day,
                               time.year + 1900, time.hour, time.minute, time.second));
}

std::u16string wideChild(pugi::xml_node element, const char* name) {
    return wideText(element.child_value(name));
}

}  // namespace

bool isRefused(const FileRecord& file) {
    // The component makes up this path for a file whose description the camera refuses.
    return file.size == 0 && file.cameraPath == u"DCIM\\object " + file.id + u".refused";
}

std::string titleOf(const FileRecord& file) {
    std::string id = utf8Text(file.id);
    // A file on a volume has an id that ends in its path, and the path once is enough.
    if (file.cameraPath.empty() || file.id.ends_with(file.cameraPath)) return id;
    return utf8Text(file.cameraPath) + "  [" + id + "]";
}

std::vector<Device> parseDevices(std::u16string_view xml) {
    std::string text = utf8Text(xml);
    pugi::xml_document document;
    std::vector<Device> devices;
    for (const pugi::xml_node element : load(document, text, "devices").children("device"))
        devices.push_back({wideChild(element, "friendlyName"), wideChild(element, "contextId"),
                           wideChild(element, "progId")});
    return devices;
}

std::vector<FileRecord> parseFileInfo(Bstr xml) {
    std::string text = utf8Text(xml.view());
    xml = Bstr();
    pugi::xml_document document;
    std::vector<FileRecord> records;
    for (const pugi::xml_node element : load(document, text, "fileInfo").children("file"))
        records.push_back({wideChild(element, "id"),
                           wideChild(element, "camerapath"),
                           element.child("size").text().as_ullong(),
                           {element.child_value("modified")},
                           {element.child_value("created")}});
    return records;
}

Diagnostics parseDiagnostics(std::u16string_view xml) {
    std::string text = utf8Text(xml);
    pugi::xml_document document;
    Diagnostics diagnostics;
    const pugi::xml_node root =
        load(document, text, "diagnostic", "It is the camera's own, and comes as it is.");
    for (const pugi::xml_node element : root.children()) {
        if (element.type() != pugi::node_element) continue;
        if (std::string_view(element.name()) != "failure") {
            diagnostics.values.push_back(
                {wideText(element.name()), wideText(element.child_value())});
            continue;
        }
        std::vector<NamedText>& failure = diagnostics.failures.emplace_back();
        for (const pugi::xml_attribute detail : element.attributes())
            failure.push_back({wideText(detail.name()), wideText(detail.value())});
    }
    return diagnostics;
}

std::int64_t parseTime(std::u16string_view xml) {
    std::string text = utf8Text(xml);
    pugi::xml_document document;
    const std::int64_t seconds = secondsOf(load(document, text, "time").child_value());
    if (seconds < 0)
        throw Failure(ExitStatus::BadDocument, "The device's clock shows no time.",
                      "Set it: zlkcam clock --set now");
    return seconds;
}

std::u16string timeDocument(std::int64_t seconds) {
    return u"<time>" + wideText(recordTime(seconds)) + u"</time>";
}

std::int64_t secondsOf(std::string_view recordTime) {
    // The view isn't terminated by a zero, which sscanf needs.
    const std::string text(recordTime);
    BrokenDownTime time{};
    // sscanf lets month 0 and a negative hour pass, and mktime would accept both.
    // NOLINTNEXTLINE(cert-err34-c): so few digits don't overflow
    if (std::sscanf(text.c_str(), "%2d/%2d/%4d %2d:%2d:%2d", &time.month, &time.day, &time.year,
                    &time.hour, &time.minute, &time.second) != 6 ||
        time.month < 1 || time.hour < 0)
        return -1;
    time.month -= 1;
    time.year -= 1900;
    return _mktime64(time);
}

void markMissingDates(std::vector<FileRecord>& files, std::int64_t start, std::int64_t end) {
    // The limits are converted to text and back, because the records went through a text, too: in
    // the hour that comes twice in autumn a text is read as only one of two times.
    const std::int64_t first = secondsOf(recordTime(start)), last = secondsOf(recordTime(end));
    for (FileRecord& file : files)
        for (RecordTime* const time : {&file.modified, &file.created}) {
            const std::int64_t seconds = secondsOf(time->text);
            time->isNoDate = first <= seconds && seconds <= last;
        }
}

}  // namespace zlk
