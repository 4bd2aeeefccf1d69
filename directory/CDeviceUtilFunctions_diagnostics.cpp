// Takes a camera's diagnostics document apart into events, and stores the firmware version.

#include <array>

#include "directory/CContextMgrInfo.h"
#include "directory/CDeviceUtilFunctions.h"
#include "foundation/Registry.h"
#include "foundation/Xml.h"
#include "foundation/reportStatusEvent.h"
#include "platform/text.h"

namespace zlk {
namespace {

constexpr std::int32_t informative = 1;

// The numbers by which other programs recognise the events.
constexpr std::int32_t temperatureEvent = 1000, languageEvent = 1001, shotsEvent = 1002,
                       failureEvent = 1009;

/// An element of the document that becomes an event of its own.
struct Counter {
    std::int32_t eventId;
    std::u16string_view element;
    std::u16string_view detail;
};
constexpr Counter counters[] = {
    {1003, u"diagnostic/strobeCounter", u"STROBECNT=%s"},
    {1004, u"diagnostic/videoCounter", u"VIDEOCNT=%s"},
    {1005, u"diagnostic/zoomCounter", u"ZOOMCNT=%s"},
    {1006, u"diagnostic/printsCounter", u"PRINTCNT=%s"},
    {1007, u"diagnostic/directPrintsCounter", u"DPRINTCNT=%s"},
    {1008, u"diagnostic/emailsCounter", u"EMAILCNT=%s"},
};

constexpr std::u16string_view notKnown = u"NA";

std::u16string valueOrNotKnown(const XmlDocument& document, std::u16string_view path) {
    std::u16string text;
    return document.value(path, text) ? text : std::u16string(notKnown);
}

std::u16string attributeOrNotKnown(const XmlDocument& document, std::u16string_view path,
                                   std::u16string_view name) {
    std::u16string text;
    return document.attribute(path, name, text) ? text : std::u16string(notKnown);
}

}  // namespace

void CDeviceUtilFunctions::logDiagnostics(const std::u16string& contextId,
                                          const std::u16string& xml) {
    XmlDocument document;
    std::u16string firmware, model, serial;
    // Without these three, nobody could assign the values to a camera.
    if (xml.empty() || !document.load(xml) || !document.value(u"diagnostic/fwversion", firmware) ||
        !document.value(u"diagnostic/model", model) ||
        !document.value(u"diagnostic/serial", serial))
        return;
    const std::u16string prefix = formatText(u"M=%s;FW=%s;SN=%s;", model, firmware, serial);
    recordFirmware(contextId, firmware);
    reportDiagnostic(
        temperatureEvent, prefix,
        formatText(u"MINTEMP=%s;MAXTEMP=%s", valueOrNotKnown(document, u"diagnostic/mintemp"),
                   valueOrNotKnown(document, u"diagnostic/maxtemp")),
        {});
    std::u16string value;
    if (document.value(u"diagnostic/language", value))
        reportDiagnostic(languageEvent, prefix, u"LANG=%s", value);
    if (document.value(u"diagnostic/shotCounter", value))
        reportDiagnostic(shotsEvent, prefix,
                         formatText(u"SHOTCNT=%s;CTOC_SHOTS=%s", value,
                                    valueOrNotKnown(document, u"diagnostic/chargeToChargeShots")),
                         {});
    for (const Counter& counter : counters)
        if (document.value(counter.element, value))
            reportDiagnostic(counter.eventId, prefix, std::u16string(counter.detail), value);
    // The number counts the elements of this name, so the first missing one ends the list.
    for (int i = 0;; ++i) {
        const std::u16string path = formatText(u"diagnostic/failure[%d]", i);
        if (!document.value(path, value)) return;
        std::u16string code;
        if (!document.attribute(path, u"Code", code)) continue;
        reportDiagnostic(failureEvent, prefix,
                         formatText(u"C=%s;F=%s;V=%s;L=%s;DT=%s", code,
                                    attributeOrNotKnown(document, path, u"File"),
                                    attributeOrNotKnown(document, path, u"Version"),
                                    attributeOrNotKnown(document, path, u"LineNumber"),
                                    attributeOrNotKnown(document, path, u"Date")),
                         {});
    }
}

void CDeviceUtilFunctions::recordFirmware(const std::u16string& contextId,
                                          const std::u16string& firmware) {
    if (firmware.empty()) return;
    // The maker's key is only opened, not made: without an installation, nothing is recorded.
    const RegistryKey maker =
        regOpenKey(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn", KEY_READ);
    std::u16string manufacturer, productClass, serial;
    CContextMgrInfo().SplitContextId(contextId, manufacturer, productClass, serial);
    const std::u16string name = formatText(u"ZLSU_%s_Firmware", productClass);
    const RegistryKey key = regCreateKey(maker.get(), name, KEY_ALL_ACCESS);
    regWriteString(key.get(), u"name", name);
    regWriteString(key.get(), u"version", firmware);
}

void CDeviceUtilFunctions::reportDiagnostic(std::int32_t eventId, const std::u16string& prefix,
                                            const std::u16string& detail,
                                            const std::u16string& value) {
    reportStatusEvent(eventId, prefix + (value.empty() ? detail : formatText(detail, value)),
                      informative);
}

}  // namespace zlk
