// Fuzzes conversions between character sets, number conversions and formatting.

#include "platform/text.h"

#include "fuzz/Input.h"
#include "platform/automation.h"

using namespace zlk::fuzz;

namespace {

/// What the strict conversion accepts must come back unchanged, and what the lenient one makes must
/// be stable.
void convert(Input& input) {
    const std::string narrow = input.narrow(200);
    const int size = static_cast<int>(narrow.size());
    WCHAR wide[200];
    const int units = size == 0 ? 0
                                : MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, narrow.data(),
                                                      size, wide, 200);
    if (units > 0) {
        char back[200];
        const int bytes =
            WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide, units, back, 200);
        require(std::string_view(back, static_cast<std::size_t>(bytes)) == narrow);
    }
    const std::u16string lenient = wideText(narrow);
    require(wideText(utf8Text(lenient)) == lenient);
}

/// Texts that callers by name pass for numbers: the text of the resulting number must give the same
/// number again.
void change(Input& input) {
    const zlk::Variant text{zlk::Bstr(input.wide(60))};
    constexpr VARTYPE types[] = {VT_I1, VT_UI1, VT_I2, VT_UI2, VT_I4, VT_UI4, VT_I8, VT_UI8};
    const VARTYPE type = types[input.byte() % std::size(types)];
    zlk::Variant number, again, back;
    if (FAILED(VariantChangeType(number.get(), text.get(), 0, type))) return;
    require(SUCCEEDED(VariantChangeType(back.get(), number.get(), 0, VT_BSTR)));
    require(SUCCEEDED(VariantChangeType(again.get(), back.get(), 0, type)));
    require(again->llVal == number->llVal);
}

/// Formatting into a buffer must stop at its end, terminate the text, and return the length that
/// the whole text would have.
void format(Input& input) {
    WCHAR buffer[64];
    const std::size_t room = input.byte() % 65;
    const std::u16string text = input.wide(20);
    const std::string narrow = input.narrow(20);
    const FormatArgument arguments[] = {static_cast<int>(input.number()), text, narrow,
                                        std::uint64_t{input.number()} << 20,
                                        static_cast<short>(input.byte())};
    const std::u16string pattern = input.wide(100);
    const std::size_t units = formatWide(buffer, room, pattern, arguments);
    const std::u16string whole = formatText(pattern, std::span<const FormatArgument>(arguments));
    require(whole.size() == units);
    if (room > 0) {
        const std::size_t written = std::min(units, room - 1);
        require(buffer[written] == 0);
        require(whole.compare(0, written, buffer, written) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    convert(input);
    format(input);
    const std::u16string text = input.wide(50);
    require(equalIgnoringCase(text, upperCase(text)));
    _wtoi(text.c_str());
    change(input);
    return 0;
}
