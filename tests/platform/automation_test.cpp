#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/text.h"
#include "tests/platform/Variants.h"

namespace zlk::test {
namespace {

/// What a value is as another type, as text; or the failure.
std::string changed(const VARIANT& source, VARTYPE type) {
    Variant target;
    if (const HRESULT result = VariantChangeType(target.get(), &source, 0, type); FAILED(result))
        return result == DISP_E_TYPEMISMATCH ? "mismatch"
               : result == DISP_E_OVERFLOW   ? "overflow"
               : result == DISP_E_BADVARTYPE ? "bad type"
                                             : "other failure";
    EXPECT_EQ(target->vt, type);
    Variant text;
    EXPECT_EQ(VariantChangeType(text.get(), target.get(), 0, VT_BSTR), S_OK);
    return utf8Text({text->bstrVal ? text->bstrVal : u"", SysStringLen(text->bstrVal)});
}

std::string changed(std::u16string_view text, VARTYPE type) {
    const Variant source{Bstr(text)};
    return changed(*source.get(), type);
}

TEST(Variant, ChangesBetweenNumbers) {
    EXPECT_EQ(changed(number(VT_I4, 0), VT_BSTR), "0");
    EXPECT_EQ(changed(number(VT_I4, -5), VT_I2), "-5");
    EXPECT_EQ(changed(number(VT_I4, 32768), VT_I2), "overflow");
    EXPECT_EQ(changed(number(VT_I4, -1), VT_UI4), "overflow");
    EXPECT_EQ(changed(number(VT_UI4, 0xFFFFFFFF), VT_I8), "4294967295");
    EXPECT_EQ(changed(number(VT_UI4, 0xFFFFFFFF), VT_I4), "overflow");
    EXPECT_EQ(changed(number(VT_I4, 256), VT_UI1), "overflow");
    EXPECT_EQ(changed(number(VT_I1, -128), VT_R4), "-128");
    EXPECT_EQ(changed(number(VT_I8, std::numeric_limits<std::int64_t>::min()), VT_R8),
              "-9.22337203685478e+18");
    EXPECT_EQ(changed(number(VT_UI8, -1), VT_BSTR), "18446744073709551615");
    EXPECT_EQ(changed(number(VT_UI8, -1), VT_I8), "overflow");
    EXPECT_EQ(changed(real(2.5), VT_I4), "2") << "halves go to the even number";
    EXPECT_EQ(changed(real(3.5), VT_I4), "4");
    EXPECT_EQ(changed(real(-2147483648.5), VT_I4), "-2147483648");
    EXPECT_EQ(changed(real(2147483647.5), VT_I4), "overflow");
    EXPECT_EQ(changed(real(std::nan("")), VT_I4), "overflow");
    EXPECT_EQ(changed(real(1e300), VT_R4), "overflow");
    EXPECT_EQ(changed(number(VT_BOOL, 0xFFFF), VT_I4), "-1");
    EXPECT_EQ(changed(number(VT_I4, 7), VT_BOOL), "-1");
}

TEST(Variant, ChangesBetweenTextAndNumbers) {
    EXPECT_EQ(changed(u" 12 ", VT_I4), "12");
    EXPECT_EQ(changed(u"+12.6", VT_I4), "13");
    EXPECT_EQ(changed(u"-1e3", VT_I2), "-1000");
    EXPECT_EQ(changed(u"18446744073709551615", VT_UI8), "18446744073709551615");
    EXPECT_EQ(changed(u"4294967296", VT_UI4), "overflow");
    EXPECT_EQ(changed(u"1e400", VT_R8), "overflow");
    EXPECT_EQ(changed(real(0.1), VT_BSTR), "0.1");
    EXPECT_EQ(changed(u"true", VT_BOOL), "-1");
    EXPECT_EQ(changed(u"0", VT_BOOL), "0");
    for (const char16_t* none : {u"", u" ", u"twelve", u"12a", u"1 2", u"+-1", u"--1", u"inf",
                                 u"nan", u"0x10", u"1,5", u"\u0661"})
        EXPECT_EQ(changed(none, VT_I4), "mismatch") << utf8Text(none);
    EXPECT_EQ(changed(std::u16string(1000, u'1'), VT_I4), "mismatch");
    EXPECT_EQ(changed(std::u16string_view(u"1\0", 2), VT_I4), "mismatch");
}

TEST(Variant, RefusesWhatHasNoOtherForm) {
    const VARIANT empty{}, null = number(VT_NULL, 0), error = number(VT_ERROR, 5);
    EXPECT_EQ(changed(empty, VT_I4), "0");
    EXPECT_EQ(changed(empty, VT_BSTR), "");
    for (const VARTYPE type : {VT_I4, VT_BSTR, VT_BOOL, VT_DISPATCH}) {
        EXPECT_EQ(changed(null, type), "mismatch");
        EXPECT_EQ(changed(error, type), "mismatch");
    }
    EXPECT_EQ(changed(number(VT_I4, 1), VT_DISPATCH), "mismatch");
    EXPECT_EQ(changed(number(VT_I4, 1), VT_VARIANT), "bad type");
    EXPECT_EQ(changed(number(VT_I4, 1), 0x1FF), "bad type");
    EXPECT_EQ(changed(number(0x1FF, 1), VT_I4), "mismatch");
}

TEST(Variant, FollowsReferencesButNotInCircles) {
    SHORT small = -7;
    VARIANT once = reference(VT_I2, &small), twice = reference(VT_VARIANT, &once);
    EXPECT_EQ(changed(once, VT_I4), "-7");
    EXPECT_EQ(changed(twice, VT_I4), "-7");
    twice.pvarVal = &twice;
    EXPECT_EQ(changed(twice, VT_I4), "bad type");
    EXPECT_EQ(changed(reference(VT_I2, nullptr), VT_I4), "other failure");
}

TEST(Variant, KeepsTheTargetOfAChangeThatFails) {
    Variant target{Bstr(u"kept")};
    const Variant source{Bstr(u"no number")};
    EXPECT_EQ(VariantChangeType(target.get(), source.get(), 0, VT_I4), DISP_E_TYPEMISMATCH);
    ASSERT_EQ(target->vt, VT_BSTR);
    EXPECT_EQ(std::u16string_view(target->bstrVal), u"kept");
    EXPECT_EQ(VariantCopy(target.get(), target.get()), S_OK) << "onto itself";
    EXPECT_EQ(std::u16string_view(target->bstrVal), u"kept");
    const VARIANT unknown = number(0x1FF, 1);
    EXPECT_EQ(VariantCopy(target.get(), &unknown), DISP_E_BADVARTYPE);
    EXPECT_EQ(std::u16string_view(target->bstrVal), u"kept");
    target->vt = 0x1FF;
    EXPECT_EQ(VariantClear(target.get()), DISP_E_BADVARTYPE);
    target->vt = VT_BSTR;
}

}  // namespace
}  // namespace zlk::test
