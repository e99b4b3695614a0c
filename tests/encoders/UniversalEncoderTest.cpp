#include "encoders/UniversalEncoder.h"
#include "encoders/EncoderTesting.h"
#include "encoders/FreshRegistry.h"
#include "encoders/Registry.h"
#include "support/StringPrinting.h"
#include "text/StringEncoding.h"

#include <quarn/Encoder.h>
#include <quarn/String.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace Quarn;
using namespace quarn_test;

namespace {

struct Destroy {
    void operator()(Encoder* encoder) const { delete encoder; }
};

// A factory encoder the test owns (never registered).
std::unique_ptr<UniversalEncoder, Destroy> make(const char16_t* name) {
    Encoder* made = UniversalEncoder::make(String(name));
    return std::unique_ptr<UniversalEncoder, Destroy>(dynamic_cast<UniversalEncoder*>(made));
}

const unsigned short* u16units(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

std::u16string namesOf(const Encoder& encoder) {
    return std::u16string(reinterpret_cast<const char16_t*>(encoder.getNames()));
}

CodePageChoice resolved(const char16_t* name, bool& found) {
    CodePageChoice choice{0, -1, String()};
    found = UniversalEncoder::resolve(String(name), choice);
    return choice;
}

TEST(CodePageTable, HasItsFortySixRowsOddOnesIncluded) {
    const CodePageRow* table = UniversalEncoder::table();
    int rows = 0;
    while (table[rows].codePage)
        ++rows;
    EXPECT_EQ(rows, 46);
    EXPECT_EQ(table[3].codePage, 28591);
    EXPECT_STREQ(table[3].aliases, "ISO-8859-3,ISO-8859-3,ISO-8859-3:1988,ISO-IR-109,LATIN3");
    EXPECT_STREQ(table[14].aliases, "ISO-8859-16,ISO-885,ISO-885,MS-EE");
    EXPECT_STREQ(table[39].aliases, "CP437,IBM850,WINDOWS-437");
}

TEST(CodePageFactory, NamesResolveByNumberFormOrByTheTable) {
    struct Case {
        const char16_t* name;
        uint32_t codePage;
        int32_t width;
        const char16_t* names;
    } cases[] = {
        // "CP" and digits, upper case in the name itself; a number without a row names itself.
        {u"CP1250", 1250, 0, u"CP1250,WINDOWS-1250"},
        {u"CP1252abc", 1252, 1, u"CP1252,WINDOWS-1252,MS-ANSI"},
        {u"CP99999999999", 4294967295u, 0, u"CP4294967295,WINDOWS-4294967295"},
        // "WINDOWS-" in any case, at least 10 long, a digit at index 8.
        {u"windows_1251", 1251, 0, u"CP1251,WINDOWS-1251,MS-CYRL"},
        {u"Windows-1252", 1252, 1, u"CP1252,WINDOWS-1252,MS-ANSI"},
        // The table, upper case with "_" kept; the first row holding the name wins.
        {u"cp1251", 1251, 0, u"CP1251,WINDOWS-1251,MS-CYRL"},
        {u"LATIN3", 28591, 0, u"ISO-8859-3,ISO-8859-3,ISO-8859-3:1988,ISO-IR-109,LATIN3"},
        {u"CP28591", 28591, 0, u"ISO-8859-3,ISO-8859-3,ISO-8859-3:1988,ISO-IR-109,LATIN3"},
        {u"iso-8859-2", 28592, 0, u"ISO-8859-2,ISO-8859-2,ISO-8859-2:1987,ISO-IR-101,LATIN2"},
        {u"ISO-885", 28606, 0, u"ISO-8859-16,ISO-885,ISO-885,MS-EE"},
        {u"IBM850", 850, 1, u"CP850,WINDOWS-850,IBM850"},
        {u"koi-8r", 20866, 0, u"KOI-8R"},
        {u"iso_8859_2", 0, 0, nullptr},
        {u"cp1250", 0, 0, nullptr}, // no number (lower case) and no row
        {u"CP", 0, 0, nullptr},
        {u"WINDOWS-1", 0, 0, nullptr}, // too short for the number form
        {u"LATIN", 0, 0, nullptr},     // a part of a name is no name
    };
    for (const Case& c : cases) {
        bool found = false;
        CodePageChoice choice = resolved(c.name, found);
        SCOPED_TRACE(std::string(c.name, c.name + std::char_traits<char16_t>::length(c.name)));
        EXPECT_EQ(found, c.names != nullptr);
        if (!found || !c.names) continue;
        EXPECT_EQ(choice.codePage, c.codePage);
        EXPECT_EQ(choice.width, c.width);
        EXPECT_EQ(choice.names, c.names);
    }
}

TEST(CodePageFactory, MakesAnEncoderOnlyForCodePagesThisMachineConverts) {
    auto cp1250 = make(u"CP1250");
    ASSERT_TRUE(cp1250);
    EXPECT_EQ(namesOf(*cp1250), u"CP1250,WINDOWS-1250");
    EXPECT_EQ(cp1250->getMapping(), 0);
    EXPECT_TRUE(cp1250->hasNewAPI());
    EXPECT_EQ(cp1250->getDecodingFlags(), 9u) << "MB_PRECOMPOSED | MB_ERR_INVALID_CHARS";
    EXPECT_EQ(cp1250->getEncodingFlags(), 0u);
    auto cp437 = make(u"CP437");
    ASSERT_TRUE(cp437);
    EXPECT_EQ(cp437->getMapping(), 1) << "the width comes from the row";
    auto utf8 = make(u"CP65001");
    ASSERT_TRUE(utf8);
    EXPECT_EQ(utf8->getDecodingFlags(), 0u) << "a page that takes no flags";
    for (uint32_t page : {50220u, 50229u, 52936u, 54936u, 57002u, 57011u, 65000u})
        EXPECT_EQ(UniversalEncoder::decodingFlagsFor(page), 0u) << page;
    EXPECT_EQ(UniversalEncoder::decodingFlagsFor(57012), 9u);

    EXPECT_FALSE(make(u"CP65535"));
    EXPECT_FALSE(make(u"CP709")) << "a table row the platform cannot serve";
    EXPECT_FALSE(make(u"NO-SUCH-NAME"));
    EXPECT_EQ(UniversalEncoder::make(String()), &Encoder::getDefault()) << "not a new encoder";
}

using Lookups = FreshRegistry;

TEST_F(Lookups, TheRegistryMakesAndKeepsFactoryEncoders) {
    Encoder* cp1250 = Encoder::get(u"CP1250");
    ASSERT_NE(cp1250, nullptr);
    EXPECT_TRUE(encoders::RegistryAccess::holds(cp1250));
    EXPECT_EQ(Encoder::get(u"windows_1250"), cp1250);
    EXPECT_EQ(cp1250->getMapping(), 0);

    Encoder* cp1251 = Encoder::get(u"windows_1251");
    ASSERT_NE(cp1251, nullptr);
    EXPECT_EQ(Encoder::get(u"ms-cyrl"), cp1251);
    auto* latin3 = dynamic_cast<UniversalEncoder*>(Encoder::get(u"LATIN3"));
    ASSERT_NE(latin3, nullptr);
    EXPECT_EQ(latin3->getCodePage(), 28591u);

    // iso_8859_2 is not in the table's spelling; once ISO-8859-2 is registered, the alias table
    // (which does read "_" as "-") knows it.
    EXPECT_EQ(Encoder::get(u"iso_8859_2"), nullptr);
    Encoder* latin2 = Encoder::get(u"iso-8859-2");
    ASSERT_NE(latin2, nullptr);
    EXPECT_EQ(Encoder::get(u"iso_8859_2"), latin2);

    // A number whose row names a built-in encoder takes all its names: the built-in one goes.
    Encoder* builtIn = Encoder::get(u"CP1252");
    Encoder* platform = Encoder::get(u"CP01252");
    ASSERT_NE(platform, nullptr);
    EXPECT_NE(platform, builtIn);
    EXPECT_FALSE(encoders::RegistryAccess::holds(builtIn));
    EXPECT_EQ(Encoder::get(u"MS-ANSI"), platform);
}

// ---------------------------------------------------------------------------------------------
// Conversions

const std::string kPrivetCp1251 = hexBytes("CF F0 E8 E2 E5 F2"); // "Привет"
const std::u16string kPrivet = u"\u041F\u0440\u0438\u0432\u0435\u0442";

TEST(UniversalConversion, OneCallFillingTheDestinationExactlyOrNothing) {
    auto cp1251 = make(u"CP1251");
    ASSERT_TRUE(cp1251);
    int32_t length = -1;
    EXPECT_EQ(cp1251->getUnicodeLength(kPrivetCp1251.data(), 6, length), 0);
    EXPECT_EQ(length, 6);

    Decoded exact = decodeWith(*cp1251, kPrivetCp1251, 6);
    EXPECT_EQ(exact.result, 0);
    EXPECT_EQ(exact.text, kPrivet);
    EXPECT_EQ(exact.consumed, 6);

    // A destination of any other size fails, and both counts stay as they came in.
    for (int32_t room : {10, 5, 0}) {
        std::vector<unsigned short> dst(16, kGuardUnit);
        int32_t srcLen = 6, dstLen = room;
        EXPECT_EQ(cp1251->toUnicode(kPrivetCp1251.data(), srcLen, dst.data(), dstLen, false), ErrConversion);
        EXPECT_EQ(srcLen, 6);
        EXPECT_EQ(dstLen, room);
        EXPECT_EQ(dst[static_cast<size_t>(room)], kGuardUnit) << "nothing past the destination";
    }

    Encoded bytes = encodeWith(*cp1251, kPrivet, 6);
    EXPECT_EQ(bytes.result, 0);
    EXPECT_EQ(bytes.bytes, kPrivetCp1251);
    EXPECT_EQ(encodeWith(*cp1251, kPrivet, 7).result, ErrConversion);
    EXPECT_EQ(encodeWith(*cp1251, kPrivet, 5).result, ErrConversion);

    // Nothing to convert: an empty destination is the exact size.
    int32_t none = 0, room = 0;
    unsigned short unit = 0;
    EXPECT_EQ(cp1251->toUnicode("", none, &unit, room, false), 0);
    EXPECT_EQ(room, 0);
}

TEST(UniversalConversion, LengthQueriesReportRefusedSourcesAndShortOnes) {
    auto sjis = make(u"SHIFT-JIS");
    ASSERT_TRUE(sjis);
    int32_t out = -1;
    EXPECT_EQ(sjis->getUnicodeLength(nullptr, 5, out), 0);
    EXPECT_EQ(out, 0);
    out = -1;
    EXPECT_EQ(sjis->getMBCSLength(u16units(u"abc"), 0, out), 0);
    EXPECT_EQ(out, 0);
    // Double-byte text counts units, not bytes.
    std::string nihon = hexBytes("93 FA 96 7B 41");
    EXPECT_EQ(sjis->getDecodedLength(nihon.data(), 5), 3);
    EXPECT_EQ(decodeWith(*sjis, nihon, 3).text, u"\u65E5\u672CA");

    // A lead byte without its trail, a byte that is no character: 44, and 0 from the older query.
    for (const std::string& bad : {hexBytes("41 82"), hexBytes("41 FF 42")}) {
        out = -1;
        EXPECT_EQ(sjis->getUnicodeLength(bad.data(), static_cast<int32_t>(bad.size()), out),
                  ErrCannotConvert);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(sjis->getDecodedLength(bad.data(), static_cast<int32_t>(bad.size())), 0);
        EXPECT_EQ(decodeWith(*sjis, bad, 2).result, ErrConversion);
    }
    // A character the code page lacks, a lone surrogate: 37.
    auto cp1251 = make(u"CP1251");
    ASSERT_TRUE(cp1251);
    for (const std::u16string& bad : {std::u16string(u"a\u4E00"), units({'a', 0xD800, 'b'})}) {
        out = -1;
        const int32_t n = static_cast<int32_t>(bad.size());
        EXPECT_EQ(cp1251->getMBCSLength(u16units(bad.c_str()), n, out), ErrConversion);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(cp1251->getEncodedLength(u16units(bad.c_str()), n), 0);
    }
}

TEST(UniversalConversion, StatefulEncodingsStartAndEndEachCallInTheirInitialState) {
    auto jis = make(u"ISO-2022-JP");
    ASSERT_TRUE(jis);
    const std::u16string text = u"a\u65E5\u672Cb";
    int32_t length = 0;
    ASSERT_EQ(jis->getMBCSLength(reinterpret_cast<const unsigned short*>(text.data()), 4, length), 0);
    Encoded first = encodeWith(*jis, text, length);
    ASSERT_EQ(first.result, 0);
    EXPECT_EQ(first.bytes, "a\x1B$BF|K\\\x1B(Bb");
    // The same call again gives the same bytes: no shift state carried over.
    EXPECT_EQ(encodeWith(*jis, text, length).bytes, first.bytes);
    EXPECT_EQ(encodeWith(*jis, u"\u65E5", 8).bytes, "\x1B$BF|\x1B(B") << "ends back in ASCII";

    int32_t units = 0;
    ASSERT_EQ(jis->getUnicodeLength(first.bytes.data(), static_cast<int32_t>(first.bytes.size()), units), 0);
    EXPECT_EQ(units, 4);
    EXPECT_EQ(decodeWith(*jis, first.bytes, 4).text, text);
}

TEST_F(Lookups, StringsConvertThroughPlatformEncodersBecauseTheyAskTheLengthFirst) {
    Encoder* cp1251 = Encoder::get(u"CP1251");
    ASSERT_NE(cp1251, nullptr);
    String text;
    EXPECT_EQ(text.decode(kPrivetCp1251.data(), 6, cp1251), 0);
    EXPECT_EQ(text, kPrivet.c_str());
    const char* bytes = nullptr;
    int32_t count = 0;
    EXPECT_EQ(text.encode(bytes, count, cp1251), 0);
    EXPECT_EQ(std::string(bytes, static_cast<size_t>(count)), kPrivetCp1251);

    Encoder* eucjp = Encoder::get(u"EUC-JP");
    ASSERT_NE(eucjp, nullptr);
    // A source the platform refuses decodes to nothing and says so.
    String back(u"old");
    EXPECT_EQ(back.decode("\x8E", 1, eucjp), ErrCannotConvert);
    EXPECT_EQ(back.length(), 0);
    EXPECT_EQ(String(u"\u4E00").encode(bytes, count, cp1251), ErrConversion);
    EXPECT_EQ(count, 0);
    EncodingScratch::release();
}

} // namespace
