#include "encoders/Registry.h"
#include "encoders/FreshRegistry.h"
#include "encoders/SingleByteEncoders.h"
#include "encoders/UniversalEncoder.h"
#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/Encoder.h>
#include <quarn/String.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

using namespace Quarn;
using namespace quarn_test;
using encoders::RegistryAccess;

namespace {

std::u16string canonicalName(const Encoder* encoder) {
    std::u16string names = encoder ? reinterpret_cast<const char16_t*>(encoder->getNames()) : u"(none)";
    return names.substr(0, names.find(u','));
}

// A host encoder with a name list of its own choosing. find offers the encoder itself for names
// under "X-DYN-" and a new encoder for names under "X-NEW-".
struct Named : AsciiEncoder {
    explicit Named(const char16_t* names) : names(names) {}
    const unsigned short* getNames() const override { return reinterpret_cast<const unsigned short*>(names); }
    Encoder* find(const String& name) const override {
        lastAsked = name;
        if (name.ncmp(u"X-DYN-", 6) == 0) return const_cast<Named*>(this);
        if (name.ncmp(u"X-NEW-", 6) == 0) return new Named(u"X-MADE");
        return nullptr;
    }
    const char16_t* names;
    mutable String lastAsked;
};

using Registry = FreshRegistry;

TEST_F(Registry, StartsWithTheBuiltInEncodersInOrder) {
    const char16_t* expected[] = {u"US-ASCII", u"BINARY", u"CP1252", u"ISO-8859-1", u"UCS2",  u"UCS2BE",
                                  u"UCS2LE",   u"UCS4",   u"UCS4BE", u"UCS4LE",     u"UTF-8", u"MACINTOSH"};
    ASSERT_GE(RegistryAccess::count(), 12);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(canonicalName(RegistryAccess::at(i)), expected[i]) << i;
    EXPECT_EQ(RegistryAccess::at(0), &Encoder::getAscii());
    EXPECT_EQ(RegistryAccess::at(1), &Encoder::getBinary());
    EXPECT_EQ(&Encoder::getDefault(), &Encoder::getSystem());
}

TEST_F(Registry, NamesAreComparedInUpperCaseWithUnderscoresAsHyphens) {
    Encoder* latin1 = Encoder::get(u"ISO-8859-1");
    ASSERT_NE(latin1, nullptr);
    EXPECT_EQ(Encoder::get(u"Latin1"), latin1);
    EXPECT_EQ(Encoder::get(u"LATIN1"), latin1);
    EXPECT_EQ(Encoder::get(u"iso_8859_1"), latin1);
    // latin_1 reads as LATIN-1, which no list holds: it is found as the name that differs from a
    // registered one only by its dashes, without becoming a name of its own.
    const int32_t names = RegistryAccess::count();
    EXPECT_EQ(Encoder::get(u"latin_1"), latin1);
    EXPECT_EQ(Encoder::get(u"ISO88591"), latin1);
    EXPECT_EQ(Encoder::get(u"utf_16le"), Encoder::get(u"UTF16LE"));
    EXPECT_EQ(RegistryAccess::count(), names);
    EXPECT_EQ(Encoder::get(u"LATIN-2"), nullptr);
    // List entries written with "_" are registered in their "-" form and found either way.
    EXPECT_EQ(Encoder::get(u"ISO_646.IRV:1991"), &Encoder::getAscii());
    EXPECT_EQ(Encoder::get(u"ansi-x3.4-1968"), &Encoder::getAscii());

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
    EXPECT_EQ(RegistryAccess::count(), count - 1);
    EXPECT_EQ(liveBlocks(), blocks - 1) << "destroyed";
    EXPECT_EQ(&Encoder::getDefault(), &ascii);

    // All the names of ASCII at once: the new encoder is ASCII everywhere. A repeated name in one
    // list is harmless, an empty entry names nothing.
    auto* replacement = new Named(u"US-ASCII,ASCII,ISO646-US,ISO_646.IRV:1991,ISO-IR-6,ANSI_X3.4-1968,CP367,"
                                  u"IBM367,US,ISO646.1991-IRV,CP1252,WINDOWS-1252,MS-ANSI,X-MORE,,x_more");
    Encoder::add(*replacement);
    EXPECT_FALSE(RegistryAccess::holds(&ascii));
    EXPECT_EQ(&Encoder::getAscii(), replacement);
    EXPECT_EQ(&Encoder::getDefault(), replacement);
    EXPECT_EQ(Encoder::get(u"X-MORE"), replacement);
    EXPECT_EQ(Encoder::get(u""), replacement);
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
    EXPECT_EQ(host->lastAsked, u"X-DYN-1");
    host->lastAsked.erase();
    EXPECT_EQ(Encoder::get(u"X-DYN-1"), host);
    EXPECT_EQ(host->lastAsked.length(), 0) << "bound after the first answer";
    Encoder* made = Encoder::get(u"x-new-1");
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(RegistryAccess::holds(made));
    EXPECT_EQ(Encoder::get(u"X-MADE"), made);
    EXPECT_EQ(Encoder::get(u"X-NEW-1"), made);
}

TEST(RegistryLifetime, WithoutARegistryTheGettersHandOutUnregisteredStandIns) {
    detail::encodersModule(false);
    Encoder& ascii = Encoder::getAscii();
    EXPECT_EQ(canonicalName(&ascii), u"US-ASCII");
    EXPECT_EQ(canonicalName(&Encoder::getBinary()), u"BINARY");
    EXPECT_EQ(&Encoder::getDefault(), &ascii);
    EXPECT_EQ(Encoder::get(u"UTF-8"), nullptr);
    Named host(u"X-LATE");
    Encoder::add(host);
    EXPECT_FALSE(Encoder::addAlias(host, u"X-LATE-2"));
    EXPECT_EQ(RegistryAccess::count(), 0);
    String text;
    EXPECT_EQ(text.decode("plain"), 0);
    EXPECT_EQ(text, u"plain");
    detail::encodersModule(true);
    EXPECT_NE(&Encoder::getAscii(), &ascii);
}

TEST(RegistryLifetime, AStartCutShortByExhaustionLeavesNoRegistryAndNoBlocks) {
    detail::encodersModule(false);
    TestAllocator failing;
    int32_t completedAt = 0;
    for (int32_t n = 1; n < 2000 && !completedAt; ++n) {
        const int32_t before = liveBlocks();
        bool failed;
        {
            ScopedAllocator scope(failing);
            failing.failAt(n);
            detail::encodersModule(true);
            failed = failing.hasFailed();
            failing.failAt(0);
        }
        if (!failed) {
            completedAt = n;
            break;
        }
        EXPECT_EQ(RegistryAccess::count(), 0) << n;
        EXPECT_EQ(liveBlocks(), before) << n;
    }
    EXPECT_GT(completedAt, 20);
    // Ended while the allocator that made its blocks is still alive.
    detail::encodersModule(false);
    detail::encodersModule(true);
    EXPECT_GE(RegistryAccess::count(), 12);
}

// ---------------------------------------------------------------------------------------------
// The system encoder

TEST(SystemEncoding, TheNameIsTheLocalesCodeSetOrCPAndANumber) {
    struct Case {
        const char* answer;
        const char16_t* name;
    } cases[] = {
        {"en_US.UTF-8", u"UTF-8"},
        {"ru_RU.koi8r", u"KOI8R"},
        {"de_DE.ISO-8859-15@euro", u"ISO-8859-15"},
        {"C.UTF-8", u"UTF-8"},
        {"xx.1251", u"CP1251"},
        {"1252", u"CP1252"}, // the Windows answer
        {"C", u""},
        {"POSIX", u""},
        {"en_US", u""},
        {"en_US.", u""},
        {"de_DE@euro", u""},
        {"", u""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(encoders::systemEncodingName(c.answer), c.name) << c.answer;
    EXPECT_EQ(encoders::systemEncodingName(nullptr).length(), 0);
    // At most 126 characters of the answer; "CP" comes on top.
    EXPECT_EQ(encoders::systemEncodingName(("x." + std::string(200, 'a')).c_str()).length(), 126);
    EXPECT_EQ(encoders::systemEncodingName(std::string(200, '7').c_str()).length(), 128);
}

// The start step reads the environment: LC_ALL, then LC_CTYPE, then LANG, the first that is set
// and not empty.
class SystemFromEnvironment : public FreshRegistry {
protected:
    const char* const names[3] = {"LC_ALL", "LC_CTYPE", "LANG"};
    void SetUp() override {
        for (int i = 0; i < 3; ++i) {
            const char* value = std::getenv(names[i]);
            wasSet[i] = value != nullptr;
            saved[i] = value ? value : "";
        }
    }
    void TearDown() override {
        for (int i = 0; i < 3; ++i)
            wasSet[i] ? setenv(names[i], saved[i].c_str(), 1) : unsetenv(names[i]);
        FreshRegistry::TearDown();
    }
    Encoder* startWith(const char* all, const char* ctype, const char* lang) {
        const char* values[3] = {all, ctype, lang};
        for (int i = 0; i < 3; ++i)
            values[i] ? setenv(names[i], values[i], 1) : unsetenv(names[i]);
        restartRegistry();
        return &Encoder::getSystem();
    }
    bool wasSet[3];
    std::string saved[3];
};

TEST_F(SystemFromEnvironment, TheFirstSetVariableNamesTheSystemAndDefaultEncoder) {
    struct Case {
        const char* all;
        const char* ctype;
        const char* lang;
        const char16_t* expected; // a registered name, or null for ASCII
    } cases[] = {
        {nullptr, nullptr, "en_US.UTF-8", u"UTF-8"},
        // "KOI8-R" is spelled "KOI-8R" in the factory's table: found through its code page.
        {"", "ru_RU.KOI8-R", "en_US.UTF-8", u"KOI-8R"},
        {nullptr, "ru_RU.koi8r", nullptr, u"KOI-8R"},
        // A locale's spelling of Latin-1 reaches the built-in encoder, not the platform.
        {nullptr, nullptr, "en_US.ISO8859-1", u"ISO-8859-1"},
        {"de_DE.ISO-8859-15@euro", "ru_RU.KOI8-R", nullptr, u"ISO-8859-15"},
        {nullptr, nullptr, "ru_RU.1251", u"CP1251"},
        {"C", "ru_RU.KOI8-R", "en_US.UTF-8", nullptr},
        {nullptr, nullptr, nullptr, nullptr},
        {nullptr, "xx_XX.NO-SUCH-SET", nullptr, nullptr},
    };
    for (const Case& c : cases) {
        Encoder* system = startWith(c.all, c.ctype, c.lang);
        if (c.expected && c.expected[0] == 'K') {
            auto* koi8 = dynamic_cast<UniversalEncoder*>(system);
            ASSERT_NE(koi8, nullptr);
            EXPECT_EQ(koi8->getCodePage(), 20866u);
        }
        Encoder* expected = c.expected ? Encoder::get(c.expected) : &Encoder::getAscii();
        EXPECT_EQ(canonicalName(system), canonicalName(expected))
            << (c.all ? c.all : "-") << " " << (c.ctype ? c.ctype : "-");
        EXPECT_EQ(system, expected);
        EXPECT_EQ(&Encoder::getDefault(), system);
    }
}

} // namespace
