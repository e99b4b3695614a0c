#include "encoders/Registry.h"
#include "encoders/EncoderTesting.h"
#include "encoders/FreshRegistry.h"
#include "encoders/SingleByteEncoders.h"
#include "support/ExhaustionSweep.h"
#include "support/StringPrinting.h"

#include <quarn/String.h>

#include <cstdlib>
#include <cstring>
#include <string>

using namespace Quarn;
using namespace quarn_test;
using encoders::RegistryAccess;

namespace {

std::u16string namesOf(const Encoder* encoder) {
    return encoder ? reinterpret_cast<const char16_t*>(encoder->getNames()) : u"(none)";
}

// A host encoder with a name list of its own choosing. find offers the encoder itself for names
// under "X-DYN-" and a new encoder for names under "X-NEW-" (the name it is asked is normalised).
struct Named : AsciiEncoder {
    explicit Named(std::u16string names) : names(std::move(names)) {}
    const unsigned short* getNames() const override { return w(names.c_str()); }
    Encoder* find(const String& name) const override {
        if (name.ncmp(u"X-DYN-", 6) == 0) return const_cast<Named*>(this);
        return name.ncmp(u"X-NEW-", 6) == 0 ? new Named(u"X-MADE") : nullptr;
    }
    std::u16string names;
};

using Registry = FreshRegistry;

TEST(RegistryStart, RegistersTheBuiltInEncodersInOrder) {
    // The names, then the bytes per character (0: it varies).
    const char16_t* const expected[] = {
        u"US-ASCII,ASCII,ISO646-US,ISO_646.IRV:1991,ISO-IR-6,ANSI_X3.4-1968,CP367,IBM367,US,"
        u"ISO646.1991-IRV/1",
        u"BINARY/1",
        u"CP1252,WINDOWS-1252,MS-ANSI/1",
        u"ISO-8859-1,ISO-8859-1,ISO-8859-1:1987,ISO-IR-100,LATIN1/1",
        u"UCS2,UCS-2,ISO-10646-UCS-2,UTF16,UTF-16,ISO-10646-UTF-16/2",
        u"UCS2BE,UCS-2BE,ISO-10646-UCS-2BE,UTF16BE,UTF-16BE,ISO-10646-UTF16BE/2",
        u"UCS2LE,UCS-2LE,ISO-10646-UCS-2LE,UTF16LE,UTF-16LE,ISO-10646-UTF16LE/2",
        u"UCS4,UCS-4,ISO-10646-UCS-4/4",
        u"UCS4BE,UCS-4BE,ISO-10646-UCS-4BE/4",
        u"UCS4LE,UCS-4LE,ISO-10646-UCS-4LE/4",
        u"UTF-8,UTF8,UNICODE-1-1-UTF-8,UNICODE-2-0-UTF-8,X-UNICODE-2-0-UTF-8/0",
        u"MACINTOSH,X-MAC-ROMAN/1"};
    ASSERT_GE(RegistryAccess::count(), 12);
    for (int i = 0; i < 12; ++i) {
        const Encoder* encoder = RegistryAccess::at(i);
        EXPECT_EQ(namesOf(encoder) + u"/" + char16_t(u'0' + encoder->getMapping()), expected[i]);
        EXPECT_TRUE(encoder->hasNewAPI()) << i;
    }
    EXPECT_EQ(RegistryAccess::at(0), &Encoder::getAscii());
    EXPECT_EQ(RegistryAccess::at(1), &Encoder::getBinary());
    EXPECT_EQ(&Encoder::getDefault(), &Encoder::getSystem());
}

TEST_F(Registry, NamesAreComparedInUpperCaseWithUnderscoresAsHyphens) {
    Encoder* latin1 = Encoder::get(u"ISO-8859-1");
    const int32_t encoders = RegistryAccess::count();
    // latin_1 reads as LATIN-1, which no list holds: it is found as the name that differs from a
    // registered one only by its dashes, without making or registering anything.
    for (const char16_t* name : {u"Latin1", u"iso_8859_1", u"latin_1", u"ISO88591"})
        EXPECT_EQ(Encoder::get(name), latin1) << String(name);
    EXPECT_EQ(RegistryAccess::count(), encoders);
    EXPECT_EQ(Encoder::get(u"LATIN-2"), nullptr);
    // List entries written with "_" are registered in their "-" form and found either way.
    EXPECT_EQ(Encoder::get(u"ISO_646.IRV:1991"), &Encoder::getAscii());

    EXPECT_EQ(Encoder::get(u""), &Encoder::getDefault());
    EXPECT_EQ(Encoder::get(static_cast<const unsigned short*>(nullptr)), &Encoder::getDefault());
    EXPECT_EQ(Encoder::get(u"NO-SUCH-ENCODING"), nullptr);
}

TEST_F(Registry, AnEncoderGoesWithItsLastNameAndItsDesignationsFollow) {
    Encoder& ascii = Encoder::getAscii();
    Encoder* cp1252 = Encoder::get(u"CP1252");
    ASSERT_NE(cp1252, nullptr);
    Encoder::setDefault(*cp1252);

    EXPECT_TRUE(Encoder::addAlias(ascii, u"CP1252"));
    EXPECT_TRUE(Encoder::addAlias(u"US-ASCII", u"windows_1252"));
    EXPECT_EQ(Encoder::get(u"cp1252"), &ascii);
    EXPECT_EQ(Encoder::get(u"MS-ANSI"), cp1252) << "alive under its last name";
    EXPECT_EQ(&Encoder::getDefault(), cp1252);

    const int32_t count = RegistryAccess::count();
    const int32_t blocks = liveBlocks();
    EXPECT_TRUE(Encoder::addAlias(ascii, u"ms-ansi"));
    EXPECT_FALSE(RegistryAccess::holds(cp1252));
    EXPECT_EQ(liveBlocks(), blocks - 1) << "destroyed";
    EXPECT_EQ(&Encoder::getDefault(), &ascii);

    // All the names of ASCII at once: the new encoder is ASCII everywhere. A repeated name in one
    // list is harmless, an empty entry names nothing.
    auto* replacement = new Named(namesOf(&ascii) + u",CP1252,WINDOWS-1252,MS-ANSI,X-MORE,,x_more");
    Encoder::add(*replacement);
    EXPECT_FALSE(RegistryAccess::holds(&ascii));
    EXPECT_EQ(&Encoder::getAscii(), replacement);
    EXPECT_EQ(&Encoder::getDefault(), replacement);
    EXPECT_EQ(Encoder::get(u"X-MORE"), replacement);
    Encoder::add(*replacement);
    EXPECT_EQ(RegistryAccess::count(), count - 1) << "registered once";
}

TEST_F(Registry, AddAliasAndTheFindOfRegisteredEncoders) {
    EXPECT_FALSE(Encoder::addAlias(Encoder::getAscii(), static_cast<const unsigned short*>(nullptr)));
    EXPECT_FALSE(Encoder::addAlias(Encoder::getAscii(), u""));
    EXPECT_FALSE(Encoder::addAlias(u"NO-SUCH-ENCODING", u"X-ALIAS"));
    EXPECT_EQ(Encoder::get(u"X-ALIAS"), nullptr);

    // A new encoder comes in with its own names before the alias is bound.
    auto* host = new Named(u"X-HOST,X-HOST-2");
    EXPECT_TRUE(Encoder::addAlias(*host, u"x_host_alias"));
    EXPECT_EQ(Encoder::get(u"X-HOST-ALIAS"), host);
    EXPECT_EQ(Encoder::get(u"X-HOST-2"), host);

    // Unknown names go to each encoder's find, normalised; the answer is registered and bound.
    EXPECT_EQ(Encoder::get(u"x_dyn_1"), host);
    Encoder* made = Encoder::get(u"x-new-1");
    EXPECT_TRUE(RegistryAccess::holds(made));
    EXPECT_EQ(Encoder::get(u"X-MADE"), made);
    EXPECT_EQ(Encoder::get(u"X-NEW-1"), made) << "bound after the first answer";
}

// Without a registry lookups find nothing, but the designations still convert.
TEST_F(Registry, AStartCutShortByExhaustionLeavesNoRegistryAndNoBlocks) {
    detail::encodersModule(false);
    EXPECT_EQ(Encoder::get(u"UTF-8"), nullptr);
    EXPECT_EQ(String("plain"), u"plain");

    const long runs = sweepAllocations(
        "start",
        [] {
            detail::encodersModule(true);
            const bool none = RegistryAccess::count() == 0;
            detail::encodersModule(false); // while the allocator that made its blocks is alive
            return none;
        },
        Exhaustion::Absorbed);
    EXPECT_GT(runs, 20);
}

// ---------------------------------------------------------------------------------------------
// The system encoder

TEST(SystemEncoding, TheNameIsTheLocalesCodeSetOrCPAndANumber) {
    const struct {
        const char* answer;
        const char16_t* name;
    } cases[] = {
        {"en_US.UTF-8", u"UTF-8"},
        {"ru_RU.koi8r", u"KOI8R"},
        {"de_DE.ISO-8859-15@euro", u"ISO-8859-15"},
        {"xx.1251", u"CP1251"},
        {"1252", u"CP1252"}, // the Windows answer
        {"C", u""},
        {"en_US.", u""},
        {"", u""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(encoders::systemEncodingName(c.answer), c.name) << c.answer;
    EXPECT_EQ(encoders::systemEncodingName(nullptr).length(), 0);
    // At most 126 characters of the answer; "CP" comes on top.
    EXPECT_EQ(encoders::systemEncodingName(("x." + std::string(200, 'a')).c_str()).length(), 126);
    EXPECT_EQ(encoders::systemEncodingName(std::string(200, '7').c_str()).length(), 128);
}

// The start step reads the environment: LC_ALL, then LC_CTYPE, then LANG, the first that is set
// and not empty.
TEST_F(Registry, TheFirstLocaleVariableSetNamesTheSystemAndDefaultEncoder) {
    const char* const variables[3] = {"LC_ALL", "LC_CTYPE", "LANG"};
    const char* saved[3];
    for (int i = 0; i < 3; ++i)
        saved[i] = std::getenv(variables[i]) ? strdup(std::getenv(variables[i])) : nullptr;
    const struct {
        const char* values[3];
        const char16_t* expected; // a registered name, or null for ASCII
    } cases[] = {
        {{nullptr, nullptr, "en_US.UTF-8"}, u"UTF-8"},
        // "KOI8-R" is spelled "KOI-8R" in the factory's table: found through its code page.
        {{"", "ru_RU.KOI8-R", "en_US.UTF-8"}, u"KOI-8R"},
        // A locale's spelling of Latin-1 reaches the built-in encoder, not the platform.
        {{nullptr, nullptr, "en_US.ISO8859-1"}, u"ISO-8859-1"},
        {{"de_DE.ISO-8859-15@euro", "ru_RU.KOI8-R", nullptr}, u"ISO-8859-15"},
        {{"C", "ru_RU.KOI8-R", "en_US.UTF-8"}, nullptr},
        {{nullptr, "xx_XX.NO-SUCH-SET", nullptr}, nullptr},
    };
    for (const auto& c : cases) {
        for (int i = 0; i < 3; ++i)
            c.values[i] ? setenv(variables[i], c.values[i], 1) : unsetenv(variables[i]);
        restartRegistry();
        Encoder* expected = c.expected ? Encoder::get(c.expected) : &Encoder::getAscii();
        EXPECT_EQ(namesOf(&Encoder::getSystem()), namesOf(expected));
        EXPECT_EQ(&Encoder::getSystem(), expected);
        EXPECT_EQ(&Encoder::getDefault(), &Encoder::getSystem());
    }
    for (int i = 0; i < 3; ++i) {
        saved[i] ? setenv(variables[i], saved[i], 1) : unsetenv(variables[i]);
        std::free(const_cast<char*>(saved[i]));
    }
}

} // namespace
