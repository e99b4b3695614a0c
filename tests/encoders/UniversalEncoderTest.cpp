#include "encoders/UniversalEncoder.h"
#include "encoders/EncoderTesting.h"
#include "encoders/FreshRegistry.h"
#include "encoders/Registry.h"
#include "support/StringPrinting.h"
#include "text/StringEncoding.h"

#include <quarn/String.h>

#include <memory>

using namespace Quarn;
using namespace quarn_test;

namespace {

// A factory encoder the test owns (never registered).
std::unique_ptr<UniversalEncoder> make(const char16_t* name) {
    return std::unique_ptr<UniversalEncoder>(dynamic_cast<UniversalEncoder*>(UniversalEncoder::make(name)));
}

// "names/code page/width" of the factory's choice for a name, or "none".
std::u16string resolved(const char16_t* name) {
    CodePageChoice choice{0, -1, String()};
    if (!UniversalEncoder::resolve(String(name), choice)) return u"none";
    const std::string numbers = "/" + std::to_string(choice.codePage) + "/" + std::to_string(choice.width);
    return u16(choice.names) + std::u16string(numbers.begin(), numbers.end());
}

TEST(CodePageFactory, NamesResolveByNumberFormOrByTheTableOddRowsIncluded) {
    const struct {
        const char16_t* name;
        const char16_t* choice;
    } cases[] = {
        // "CP" and digits, upper case in the name itself; a number without a row names itself.
        {u"CP1250", u"CP1250,WINDOWS-1250/1250/0"},
        {u"CP1252abc", u"CP1252,WINDOWS-1252,MS-ANSI/1252/1"},
        // "WINDOWS-" in any case, at least 10 long, a digit at index 8.
        {u"windows_1251", u"CP1251,WINDOWS-1251,MS-CYRL/1251/0"},
        {u"WINDOWS-1", u"none"},
        // The table, upper case with "_" kept; the first row holding the name wins.
        {u"cp1251", u"CP1251,WINDOWS-1251,MS-CYRL/1251/0"},
        {u"LATIN3", u"ISO-8859-3,ISO-8859-3,ISO-8859-3:1988,ISO-IR-109,LATIN3/28591/0"},
        {u"ISO-885", u"ISO-8859-16,ISO-885,ISO-885,MS-EE/28606/0"},
        {u"IBM850", u"CP850,WINDOWS-850,IBM850/850/1"}, // the CP437 row holds IBM850 too
        {u"cp1250", u"none"},                           // no number (lower case) and no row
        {u"LATIN", u"none"},                            // a part of a name is no name
    };
    for (const auto& c : cases)
        EXPECT_EQ(resolved(c.name), c.choice) << String(c.name);
}

TEST(CodePageFactory, MakesAnEncoderOnlyForCodePagesThisMachineConverts) {
    auto cp1250 = make(u"CP1250");
    ASSERT_TRUE(cp1250);
    EXPECT_EQ(cp1250->getMapping(), 0);
    EXPECT_EQ(cp1250->getDecodingFlags(), 9u) << "MB_PRECOMPOSED | MB_ERR_INVALID_CHARS";
    EXPECT_EQ(cp1250->getEncodingFlags(), 0u);
    EXPECT_EQ(make(u"CP437")->getMapping(), 1) << "the width comes from the row";
    for (uint32_t page : {50220u, 50229u, 52936u, 54936u, 57002u, 57011u, 65000u, 65001u})
        EXPECT_EQ(UniversalEncoder::decodingFlagsFor(page), 0u) << page;
    EXPECT_EQ(UniversalEncoder::decodingFlagsFor(57012), 9u);

    EXPECT_FALSE(make(u"CP709")) << "a table row the platform cannot serve";
    EXPECT_FALSE(make(u"NO-SUCH-NAME"));
    EXPECT_EQ(UniversalEncoder::make(String()), &Encoder::getDefault()) << "not a new encoder";
}

using Lookups = FreshRegistry;

TEST_F(Lookups, TheRegistryMakesAndKeepsFactoryEncoders) {
    Encoder* cp1250 = Encoder::get(u"CP1250");
    EXPECT_TRUE(encoders::RegistryAccess::holds(cp1250));
    EXPECT_EQ(Encoder::get(u"windows_1250"), cp1250);

    // iso_8859_2 is not in the table's spelling; once ISO-8859-2 is registered, the alias table
    // (which does read "_" as "-") knows it.
    EXPECT_EQ(Encoder::get(u"iso_8859_2"), nullptr);
    Encoder* latin2 = Encoder::get(u"iso-8859-2");
    ASSERT_NE(latin2, nullptr);
    EXPECT_EQ(Encoder::get(u"iso_8859_2"), latin2);

    // A number whose row names a built-in encoder takes all its names: the built-in one goes.
    Encoder* builtIn = Encoder::get(u"CP1252");
    Encoder* platform = Encoder::get(u"CP01252");
    ASSERT_NE(platform, builtIn);
    EXPECT_FALSE(encoders::RegistryAccess::holds(builtIn));
    EXPECT_EQ(Encoder::get(u"MS-ANSI"), platform);
}

// The platform converts in one call into a destination that must be exactly the size its length
// query gave: String's conversions work because they ask that length first.
TEST_F(Lookups, OneCallIntoAnExactlySizedDestination) {
    const std::string privetBytes = hexBytes("CF F0 E8 E2 E5 F2");
    const std::u16string privet = u"\u041F\u0440\u0438\u0432\u0435\u0442";
    Encoder* cp1251 = Encoder::get(u"CP1251");
    String text;
    EXPECT_EQ(text.decode(privetBytes.data(), 6, cp1251), 0);
    EXPECT_EQ(text, privet.c_str());
    EXPECT_EQ(std::string(text.encode(cp1251)), privetBytes);

    // A destination of any other size fails, both counts stay as they came in, and nothing is written
    // past the room (the guards behind it stay).
    for (int32_t room : {10, 5, 0}) {
        const Decoded decoded = convert(*cp1251, privetBytes, room);
        EXPECT_EQ(decoded.result, ErrConversion);
        EXPECT_EQ(decoded.consumed, 6);
        EXPECT_EQ(decoded.out.size(), static_cast<size_t>(room));
        EXPECT_EQ(convert(*cp1251, privet, room + 2).result, ErrConversion);
    }

    // A source the platform refuses converts to nothing and says so.
    EXPECT_EQ(text.decode("\x8E", 1, Encoder::get(u"EUC-JP")), ErrCannotConvert);
    EXPECT_EQ(text.length(), 0);
    const char* bytes = nullptr;
    int32_t count = -1;
    EXPECT_EQ(String(u"\u4E00").encode(bytes, count, cp1251), ErrConversion);
    EXPECT_EQ(count, 0);
    EncodingScratch::release();
}

TEST(UniversalConversion, LengthQueriesCountUnitsAndReportRefusedSources) {
    auto sjis = make(u"SHIFT-JIS");
    ASSERT_TRUE(sjis);
    int32_t out = -1;
    EXPECT_EQ(sjis->getUnicodeLength(nullptr, 5, out), 0);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(sjis->getDecodedLength(hexBytes("93 FA 96 7B 41").data(), 5), 3);

    // Refused: a lead byte without its trail and a byte that is no character (44, and 0 from the
    // older query); a character the code page lacks and a lone surrogate (37).
    auto cp1251 = make(u"CP1251");
    const struct {
        const char* bytes;
        std::u16string text;
    } refused[] = {{"41 82", u"a\u4E00"}, {"41 FF 42", units({'a', 0xD800, 'b'})}};
    for (const auto& bad : refused) {
        const std::string bytes = hexBytes(bad.bytes);
        const int32_t byteCount = static_cast<int32_t>(bytes.size()),
                      unitCount = static_cast<int32_t>(bad.text.size());
        out = -1;
        EXPECT_EQ(sjis->getUnicodeLength(bytes.data(), byteCount, out), ErrCannotConvert);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(sjis->getDecodedLength(bytes.data(), byteCount), 0);
        out = -1;
        EXPECT_EQ(cp1251->getMBCSLength(w(bad.text.c_str()), unitCount, out), ErrConversion);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(cp1251->getEncodedLength(w(bad.text.c_str()), unitCount), 0);
    }
}

TEST(UniversalConversion, StatefulEncodingsStartAndEndEachCallInTheirInitialState) {
    auto jis = make(u"ISO-2022-JP");
    ASSERT_TRUE(jis);
    const std::u16string text = u"a\u65E5\u672Cb";
    const std::string bytes = "a\x1B$BF|K\\\x1B(Bb";
    int32_t length = 0;
    ASSERT_EQ(jis->getMBCSLength(w(text.c_str()), 4, length), 0);
    for (int call = 0; call < 2; ++call) { // no shift state carried over from the first call
        EXPECT_EQ(convert(*jis, text, length).out, bytes);
        EXPECT_EQ(convert(*jis, bytes, 4).out, text);
    }
}

} // namespace
