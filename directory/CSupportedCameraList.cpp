#include "directory/CSupportedCameraList.h"

#include <algorithm>

#include "directory/ContextId.h"
#include "directory/SettingsTree.h"
#include "foundation/Paths.h"
#include "foundation/TraceLine.h"
#include "platform/files.h"
#include "platform/modules.h"

namespace zlk {
namespace {

/// A camera's name in which `marker` is to be replaced by the model. The resource module may have a
/// translation.
struct NameTemplate {
    WORD resourceId;
    std::u16string_view marker;
    std::u16string_view fallBack;
};
constexpr NameTemplate singleName{2600, u"283", u"ZL Glimmerbox 283 camera"};
constexpr NameTemplate seriesName{2601, u"539", u"ZL Glimmerbox 539 series camera"};

/// A model that the system knows without settings.
struct BuiltInRow {
    const WCHAR* model;
    const WCHAR* product;
    const WCHAR* otherProduct;
    const WCHAR* pnpId;  ///< null for a model that doesn't support PTP
    const WCHAR* productClass;
    bool series;
    bool takesIntent;
    bool takesShareMenu;
    bool preCue;
};
constexpr BuiltInRow builtInRows[] = {
    {u"947", u"USB CAMERA", u"", nullptr, u"Cam947", false, true, false, true},
    {u"948/264", u"GLIMMERBOX 948", u"GLIMMERBOX 264", u"VID_5AF1&PID_7C34", u"Cam948_264", false,
     false, false, true},
    {u"476", u"GLIMMERBOX 476", u"", u"VID_5AF1&PID_7C35", u"Cam476", false, true, false, true},
    {u"283", u"GLIMMERBOX 283", u"", u"VID_5AF1&PID_7D01", u"Cam283", false, true, true, true},
    {u"539", u"GLIMMERBOX 539", u"", u"VID_5AF1&PID_7C36", u"Cam539", true, true, false, true},
    {u"594", u"GLIMMERBOX 594", u"", u"VID_5AF1&PID_7C37", u"Cam594", false, true, true, false},
    {u"694", u"GLIMMERBOX 694", u"", u"VID_5AF1&PID_7C39", u"Cam694", false, true, true, false},
    {u"794", u"GLIMMERBOX 794", u"", u"VID_5AF1&PID_7C38", u"Cam794", false, true, true, false},
    {u"368", u"GLIMMERBOX 368", u"", u"VID_5AF1&PID_7D02", u"Cam368", false, true, true, false},
};

/// "TRUE" is true and any other text false; a missing or empty one gives `fallBack`.
bool readBool(HKEY key, const WCHAR* name, bool fallBack) {
    std::u16string text;
    regReadString(key, name, text);
    return text.empty() ? fallBack : equalIgnoringCase(trimmed(text), u"TRUE");
}

/// Converts most texts of a row to upper case. Sets and returns `valid`: whether the row is
/// complete.
bool validate(CCamInfo& row) {
    for (std::u16string CCamInfo::*field :
         {&CCamInfo::MSDC_vendID, &CCamInfo::MSDC_prodID, &CCamInfo::MSDC_prodID_alt,
          &CCamInfo::Cam_pnpID, &CCamInfo::Cam_protocol, &CCamInfo::DevType, &CCamInfo::Model})
        row.*field = upperCase(row.*field);
    // A camera is recognised by the strings of its volume or by its pnp id; a pnp id needs a
    // protocol.
    const bool hasVolumeStrings = !row.MSDC_vendID.empty() && !row.MSDC_prodID.empty();
    row.valid = (hasVolumeStrings || !row.Cam_pnpID.empty()) && !row.DevType.empty() &&
                !row.FriendlyName.empty() && (row.Cam_pnpID.empty() || !row.Cam_protocol.empty());
    return row.valid;
}

/// Drive and folder of an installed program, with a trailing backslash; empty if it isn't
/// installed, or if its path has 130 units or more.
std::u16string appDirectory(const std::u16string& program) {
    const RegistryKey key = regOpenKey(
        HKEY_LOCAL_MACHINE, u"Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\" + program,
        KEY_QUERY_VALUE);
    std::u16string path;
    if (!regReadString(key.get(), u"", path) || path.size() >= 260 / sizeof(WCHAR)) return {};
    const PathParts parts = splitPath(path);
    std::u16string directory(parts.drive);
    directory += parts.directory;
    TraceLine("SysUtils", "_GetAppDir - appdir=%s", directory);
    return directory;
}

/// The module with translated names, which is installed with one of two programs.
HMODULE loadResourceModule() {
    std::u16string directory = appDirectory(u"ZlkTrayKeeper.exe");
    if (directory.empty()) directory = appDirectory(u"ZlkAlbumDesk.exe");
    if (directory.empty()) return nullptr;
    return LoadLibraryW(joinPath(directory, u"ZlkCamRes.dll").c_str());
}

/// A text from a module's string table; empty if there is none with this number. A block of the
/// table holds sixteen texts one after another, each preceded by its length in units.
std::u16string loadString(HMODULE module, WORD id) {
    const HRSRC block = FindResourceW(module, static_cast<WORD>(id / 16 + 1), RT_STRING);
    if (!block) return {};
    const auto* units = static_cast<const WCHAR*>(LoadResource(module, block));
    std::size_t left = units ? SizeofResource(module, block) / sizeof(WCHAR) : 0;
    // Lengths come from the module and are checked against the block's size.
    for (WORD index = id % 16; left > 0; --index) {
        const std::size_t length = *units++;
        --left;
        if (length > left) break;
        if (index == 0) return {units, length};
        units += length;
        left -= length;
    }
    return {};
}

template <class Matches>
CCamInfo firstRow(const std::vector<CCamInfo>& rows, Matches matches) {
    const auto found = std::find_if(rows.begin(), rows.end(), matches);
    return found == rows.end() ? CCamInfo() : *found;
}

}  // namespace

CSupportedCameraList::CSupportedCameraList() {
    loadFromSettings();
    addBuiltIn();
}

CSupportedCameraList::~CSupportedCameraList() {
    if (resourceModule && *resourceModule) FreeLibrary(*resourceModule);
}

void CSupportedCameraList::loadFromSettings() {
    const RegistryKey base = openSettings({});
    const std::uint32_t count = regCountSubKeys(base.get());
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::u16string productClass = regEnumKeyName(base.get(), i);
        const RegistryKey key = regOpenKey(base.get(), productClass + u"\\CamInfo", KEY_READ);
        if (!key) continue;
        CCamInfo row;
        regReadString(key.get(), u"MSDC_vendID", row.MSDC_vendID);
        regReadString(key.get(), u"MSDC_prodID", row.MSDC_prodID);
        regReadString(key.get(), u"MSDC_prodID_alt", row.MSDC_prodID_alt);
        regReadString(key.get(), u"Cam_pnpID", row.Cam_pnpID);
        regReadString(key.get(), u"Cam_protocol", row.Cam_protocol);
        regReadString(key.get(), u"FriendlyName", row.FriendlyName);
        regReadString(key.get(), u"DevType", row.DevType);
        regReadString(key.get(), u"Model", row.Model);
        regReadString(key.get(), u"PassThruProductClass", row.PassThruProductClass);
        row.PreCueCamera = readBool(key.get(), u"PreCueCamera", row.PreCueCamera);
        row.SwiftPostSupport = readBool(key.get(), u"SwiftPostSupport", row.SwiftPostSupport);
        row.AbilityToConsumeIntent =
            readBool(key.get(), u"AbilityToConsumeIntent", row.AbilityToConsumeIntent);
        row.Monitor = readBool(key.get(), u"Monitor", row.Monitor);
        row.contextId = makeContextId(productClass, u"0000");
        if (row.FriendlyName.empty() && !row.Model.empty())
            row.FriendlyName =
                composeFriendlyName(row.Model, readBool(key.get(), u"Series", false));
        if (validate(row)) cameras.push_back(std::move(row));
    }
}

void CSupportedCameraList::addBuiltIn() {
    for (const BuiltInRow& known : builtInRows) {
        CCamInfo row;
        row.builtIn = true;
        row.MSDC_vendID = u"ZL";
        row.MSDC_prodID = known.product;
        row.MSDC_prodID_alt = known.otherProduct;
        if (known.pnpId) {
            row.Cam_pnpID = known.pnpId;
            row.Cam_protocol = u"PTP";
        }
        row.AbilityToConsumeIntent = known.takesIntent;
        row.SwiftPostSupport = known.takesShareMenu;
        row.PreCueCamera = known.preCue;
        row.Model = known.model;
        row.FriendlyName = composeFriendlyName(row.Model, known.series);
        row.contextId = makeContextId(known.productClass, u"0000");
        // A row of the settings takes the place of a built-in one with the same context id.
        if (validate(row) && !FindByContextId(row.contextId).valid)
            cameras.push_back(std::move(row));
    }
}

std::u16string CSupportedCameraList::composeFriendlyName(const std::u16string& model, bool series) {
    const NameTemplate& form = series ? seriesName : singleName;
    if (!resourceModule) resourceModule = loadResourceModule();
    std::u16string name = *resourceModule ? loadString(*resourceModule, form.resourceId)
                                          : std::u16string(form.fallBack);
    const std::size_t place = name.find(form.marker);
    if (place != std::u16string::npos) name.replace(place, form.marker.size(), model);
    return name;
}

CCamInfo CSupportedCameraList::FindByVidPid(std::uint16_t vid, std::uint16_t pid) const {
    const std::u16string pnpId = formatText(u"VID_%04X&PID_%04X", vid, pid);
    return firstRow(cameras,
                    [&](const CCamInfo& row) { return equalIgnoringCase(row.Cam_pnpID, pnpId); });
}

CCamInfo CSupportedCameraList::FindByMsdcStrings(const std::u16string& vendor,
                                                 const std::u16string& product) const {
    if (vendor.empty() || product.empty()) return {};
    return firstRow(cameras, [&](const CCamInfo& row) {
        return equalIgnoringCase(row.MSDC_vendID, vendor) &&
               (equalIgnoringCase(row.MSDC_prodID, product) ||
                equalIgnoringCase(row.MSDC_prodID_alt, product));
    });
}

CCamInfo CSupportedCameraList::FindByContextId(const std::u16string& contextId) const {
    return firstRow(
        cameras, [&](const CCamInfo& row) { return equalIgnoringCase(row.contextId, contextId); });
}

CCamInfo CSupportedCameraList::FindByPassThruClass(const std::u16string& productClass) const {
    if (productClass.empty()) return {};  // it would match all rows without such a class
    return firstRow(cameras, [&](const CCamInfo& row) {
        return equalIgnoringCase(row.PassThruProductClass, productClass);
    });
}

}  // namespace zlk
