#include "tools/zlkcam/history/ManifestWriter.h"

#include <unistd.h>

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "tools/zlkcam/history/DateTime.h"
#include "tools/zlkcam/history/ManifestFormat.h"

namespace zlk {
namespace {

using Write = std::function<void(std::string_view)>;

// The elements of our own namespace, with the prefix that the root declares.
constexpr char ownDevice[] = "zlk:device", ownSource[] = "zlk:source";

// Patterns of entries that a checker ignores, because they aren't copies.
constexpr const char* ignored[] = {".DS_Store", "ascmhl", "ascmhl/", ".zlkcam-*"};

const char* actionName(HashAction action) {
    switch (action) {
        case HashAction::Verified:
            return "verified";
        case HashAction::Failed:
            return "failed";
        case HashAction::Original:
            break;
    }
    return "original";
}

/// Empty if the name can't stand in XML.
std::string hostName() {
    std::array<char, 256> name{};
    ::gethostname(name.data(), name.size() - 1);
    return isXmlText(name.data()) ? name.data() : std::string();
}

void addText(pugi::xml_node parent, const char* name, const std::string& text) {
    parent.append_child(name).text() = text.c_str();
}

class ManifestWriter final : private pugi::xml_writer {
  public:
    ManifestWriter(const Generation& generation, const Write& write)
        : generation_(generation), write_(write), made_(dateTimeText(generation.made)) {}

    void writeAll() {
        write_(std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<hashlist version=\"") +
               manifestVersion + "\" xmlns=\"" + manifestNamespace + "\" xmlns:zlk=\"" +
               ownNamespace + "\">\n");
        writeCreator();
        writeProcess();
        write_("  <hashes>\n");
        for (const HashRecord& record : generation_.records) writeHash(record);
        write_("  </hashes>\n");
        writeDevice();
        write_("</hashlist>\n");
    }

  private:
    void write(const void* text, std::size_t size) override {
        write_({static_cast<const char*>(text), size});
    }
    /// Writes one element at this depth of the document. Of the document only this element is in
    /// memory, however long the manifest is.
    template <class Fill>
    void writeElement(const char* name, unsigned depth, Fill fill) {
        pugi::xml_node element = document_.append_child(name);
        fill(element);
        element.print(*this, "  ", pugi::format_default, pugi::encoding_utf8, depth);
        document_.remove_child(element);
    }

    void writeCreator() {
        writeElement("creatorinfo", 1, [&](pugi::xml_node creator) {
            addText(creator, "creationdate", made_);
            addText(creator, "hostname", hostName());
            pugi::xml_node tool = creator.append_child("tool");
            tool.append_attribute("version") = ZLK_VERSION;
            tool.text() = "zlkcam";
        });
    }
    void writeProcess() {
        writeElement("processinfo", 1, [](pugi::xml_node process) {
            addText(process, "process", "transfer");
            pugi::xml_node patterns = process.append_child("ignore");
            for (const char* pattern : ignored) addText(patterns, "pattern", pattern);
        });
    }
    void writeDevice() {
        if (generation_.device.empty() || !isXmlText(generation_.device)) return;
        writeElement("metadata", 1, [&](pugi::xml_node metadata) {
            addText(metadata, ownDevice, generation_.device);
        });
    }
    void writeHash(const HashRecord& record) {
        writeElement("hash", 2, [&](pugi::xml_node hash) {
            addPath(hash, record);
            addSums(hash, record);
            if (!record.source.empty() && isXmlText(record.source))
                addText(hash.append_child("metadata"), ownSource, record.source);
        });
    }

    static void addPath(pugi::xml_node hash, const HashRecord& record) {
        pugi::xml_node path = hash.append_child("path");
        path.text() = record.path.c_str();
        if (record.size)
            path.append_attribute("size") = static_cast<unsigned long long>(*record.size);
        const std::string modified = record.modified ? dateTimeText(*record.modified) : "";
        if (!modified.empty()) path.append_attribute("lastmodificationdate") = modified.c_str();
    }
    void addSums(pugi::xml_node hash, const HashRecord& record) const {
        bool hasSum = false;
        for (const DigestKind kind : digestKinds) {
            const Digest* const sum = record.sum(kind);
            // The format has no SHA-256.
            if (!sum || kind == DigestKind::Sha256) continue;
            pugi::xml_node element = hash.append_child(digestName(kind));
            element.append_attribute("action") = actionName(record.action);
            element.append_attribute("hashdate") = made_.c_str();
            element.text() = sum->text().c_str();
            hasSum = true;
        }
        if (!hasSum) throw std::invalid_argument("a record without a sum for a manifest");
    }

    const Generation& generation_;
    const Write& write_;
    const std::string made_;
    pugi::xml_document document_;
};

}  // namespace

void writeManifest(const Generation& generation, const Write& write) {
    ManifestWriter(generation, write).writeAll();
}

bool isXmlText(std::string_view text) {
    // Line ends and tabs are legal in XML, but some readers turn them into blanks.
    const bool hasControls =
        std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    // The encodings of U+FFFE and U+FFFF, which XML excludes.
    return !hasControls && text.find("\xEF\xBF\xBE") == text.npos &&
           text.find("\xEF\xBF\xBF") == text.npos && isUtf8(text);
}

}  // namespace zlk
