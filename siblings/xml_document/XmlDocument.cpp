#include "siblings/xml_document/XmlDocument.h"

#include <charconv>
#include <new>
#include <optional>
#include <string>

#include "platform/text.h"
#include "siblings/xml_document/WellFormed.h"
#include "siblings/xml_document/XmlWriter.h"

namespace zlk {
namespace {

// White space that is alone in an element is kept as its text. Beside elements, white space is
// dropped as indentation. An element that begins with text holds the text itself, without a node
// for it, which saves memory.
constexpr unsigned parseFlags = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol |
                                pugi::parse_wconv_attribute | pugi::parse_ws_pcdata_single |
                                pugi::parse_embed_pcdata;

std::u16string_view view(BSTR text) {
    return {text ? text : u"", SysStringLen(text)};
}

HRESULT giveOut(std::string_view utf8, BSTR* out) {
    *out = Bstr(wideText(utf8)).detach();
    return *out ? S_OK : E_OUTOFMEMORY;
}

bool isText(pugi::xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

/// An element's own texts, joined.
std::string textOf(pugi::xml_node element) {
    std::string text = element.value();
    for (const pugi::xml_node& child : element.children()) {
        if (isText(child)) text += child.value();
    }
    return text;
}

/// The root element of the document `text`, in UTF-8. None if the document isn't well-formed or
/// exceeds a limit.
std::optional<std::string> elementIn(BSTR text, std::size_t maxDepth) {
    const std::u16string_view wide = view(text);
    if (wide.size() > maxXmlUnits || !isXmlText(wide)) return std::nullopt;
    const std::string utf8 = utf8Text(wide);
    const auto root = rootOfDocument(utf8, maxDepth);
    return root ? std::optional<std::string>(*root) : std::nullopt;
}

/// Parses an element and appends it to `parent`, which is unchanged after a failure.
HRESULT append(pugi::xml_node parent, std::string_view markup) {
    const pugi::xml_node before = parent.last_child();
    const pugi::xml_parse_result parsed =
        parent.append_buffer(markup.data(), markup.size(), parseFlags, pugi::encoding_utf8);
    if (parsed) return S_OK;
    // The parser may have added nodes before it failed.
    while (parent.last_child() != before) parent.remove_child(parent.last_child());
    return parsed.status == pugi::status_out_of_memory ? E_OUTOFMEMORY : E_FAIL;
}

/// The name of the element that this markup begins with.
std::string_view nameOf(std::string_view markup) {
    return markup.substr(1, markup.find_first_of(" \t\r\n/>") - 1);
}

/// Like append(), but adds one folded node. The element is parsed first, so that its markup is kept
/// in the form that markupOf() gives.
HRESULT appendFolded(pugi::xml_node parent, std::string_view markup) {
    pugi::xml_document document;
    const HRESULT result = append(document, markup);
    if (FAILED(result)) return result;
    const pugi::xml_node element = document.first_child();
    pugi::xml_node folded = parent.append_child(foldedElement);
    if (folded.set_name(element.name()) && folded.set_value(markupOf(element).c_str())) return S_OK;
    parent.remove_child(folded);
    return E_OUTOFMEMORY;
}

/// Replaces a folded node with its element.
pugi::xml_node unfold(pugi::xml_node folded) {
    pugi::xml_node parent = folded.parent();
    if (FAILED(append(parent, folded.value()))) throw std::bad_alloc();
    const pugi::xml_node element = parent.insert_move_before(parent.last_child(), folded);
    parent.remove_child(folded);
    return element;
}

/// Splits one step of a path, `name` or `name[number]`. False if it has another form.
bool splitStep(std::string_view& step, std::size_t& index) {
    index = 0;
    const std::size_t bracket = step.find('[');
    if (bracket != std::string_view::npos) {
        const std::string_view number = step.substr(bracket + 1);
        const auto read = std::from_chars(number.data(), number.data() + number.size(), index);
        if (read.ec != std::errc() || step.substr(read.ptr - step.data()) != "]") return false;
        step = step.substr(0, bracket);
    }
    return !step.empty();
}

}  // namespace

pugi::xml_node XmlDocument::child(pugi::xml_node parent, std::string_view name, std::size_t index) {
    pugi::xml_node node = parent.first_child();
    std::size_t left = index;
    // The search begins at the element in `last_` if that element has the wanted name and parent,
    // and the wanted element doesn't come before it.
    if (index >= last_.index && last_.node && last_.node.parent() == parent &&
        name == last_.node.name()) {
        node = last_.node;
        left -= last_.index;
    }
    while (node && (name != node.name() || left-- > 0)) node = node.next_sibling();
    if (node.type() == foldedElement) node = unfold(node);
    if (node && index > 0) last_ = {node, index};
    return node;
}

XmlDocument::Place XmlDocument::find(BSTR path) {
    Place place{S_OK, tree_, 0};
    const std::string text = utf8Text(view(path));
    if (text == "/") return place;
    std::string_view rest = text;
    for (bool more = true; more;) {
        const std::size_t slash = rest.find('/');
        std::string_view step = rest.substr(0, slash);
        more = slash != std::string_view::npos;
        if (more) rest.remove_prefix(slash + 1);

        std::size_t index;
        if (!splitStep(step, index)) return {E_INVALIDARG, {}, 0};
        // A missing element doesn't end the loop, since the rest of the path may be invalid, which
        // gives another result.
        place.node = child(place.node, step, index);
        ++place.depth;
    }
    if (!place.node) place.result = E_FAIL;
    return place;
}

XmlDocument::Place XmlDocument::findElement(BSTR path) {
    const Place place = find(path);
    return SUCCEEDED(place.result) && place.depth == 0 ? Place{E_INVALIDARG, {}, 0} : place;
}

HRESULT XmlDocument::Load(BSTR text) noexcept {
    return guarded([&] {
        const auto markup = elementIn(text, maxXmlDepth);
        // The new tree is complete before the old one is replaced.
        pugi::xml_document loaded;
        const HRESULT result = markup ? append(loaded, *markup) : E_FAIL;
        if (FAILED(result)) return result;
        last_ = {};
        tree_ = std::move(loaded);
        return S_OK;
    });
}

HRESULT XmlDocument::GetXml(BSTR* text) noexcept {
    if (!text) return E_POINTER;
    *text = nullptr;
    return guarded([&] {
        const pugi::xml_node root = tree_.first_child();
        *text = (root ? writeXml(root) : Bstr(u"")).detach();
        return *text ? S_OK : E_OUTOFMEMORY;
    });
}

HRESULT XmlDocument::GetValue(BSTR path, BSTR* value) noexcept {
    if (!value) return E_POINTER;
    *value = nullptr;
    return guarded([&] {
        const Place place = findElement(path);
        return FAILED(place.result) ? place.result : giveOut(textOf(place.node), value);
    });
}

HRESULT XmlDocument::SetValue(BSTR path, BSTR value) noexcept {
    return guarded([&]() -> HRESULT {
        const Place place = findElement(path);
        if (FAILED(place.result)) return place.result;
        if (!isXmlText(view(value))) return E_INVALIDARG;

        const std::string text = utf8Text(view(value));
        pugi::xml_text kept = place.node.text();
        if (!kept && text.empty()) return S_OK;
        const pugi::xml_node before = kept.data();
        if (!kept.set(text.c_str())) return E_OUTOFMEMORY;
        // If the element held its text itself and that text is empty now, kept.data() would be the
        // next text node. So what kept.data() gave before the change counts.
        const pugi::xml_node held = before ? before : kept.data();
        for (pugi::xml_node node = place.node.first_child(); node;) {
            const pugi::xml_node old = node;
            node = node.next_sibling();
            if (isText(old) && old != held) old.parent().remove_child(old);
        }
        return S_OK;
    });
}

HRESULT XmlDocument::GetAttribute(BSTR path, BSTR name, BSTR* value) noexcept {
    if (!value) return E_POINTER;
    *value = nullptr;
    return guarded([&] {
        const Place place = findElement(path);
        if (FAILED(place.result)) return place.result;
        const std::string attributeName = utf8Text(view(name));
        for (const pugi::xml_attribute& attribute : place.node.attributes()) {
            if (attribute.name() == attributeName) return giveOut(attribute.value(), value);
        }
        return E_FAIL;
    });
}

HRESULT XmlDocument::AddFragment(BSTR path, BSTR xml) noexcept {
    return guarded([&]() -> HRESULT {
        const Place place = find(path);
        if (FAILED(place.result)) return place.result;
        // A document has a single root.
        if (place.depth == 0 && place.node.first_child()) return E_FAIL;
        const auto markup = elementIn(xml, maxXmlDepth - place.depth);
        if (!markup) return E_FAIL;
        // An element that follows one of the same name is taken for part of a list, and is folded.
        const bool isInList = place.node.last_child().name() == nameOf(*markup);
        return isInList ? appendFolded(place.node, *markup) : append(place.node, *markup);
    });
}

}  // namespace zlk
