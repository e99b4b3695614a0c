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
#include <vector>

using namespace Quarn;
using namespace quarn_test;
using encoders::RegistryAccess;

namespace {

std::u16string namesOf(const Encoder* encoder) {
    return encoder ? std::u16string(reinterpret_cast<const char16_t*>(encoder->getNames())) : u"(none)";
}

std::u16string canonicalName(const Encoder* encoder) {
    std::u16string names = namesOf(encoder);
    return names.substr(0, names.find(u','));
}

// A host encoder with a name list of its own choosing.
struct Named : AsciiEncoder {
    explicit Named(const char16_t* names) : names(names) {}
    const unsigned short* getNames() const override { return reinterpret_cast<const unsigned short*>(names); }
    const char16_t* names;
};

// Offers itself for every name under "X-DYN-", and a new encoder for names under "X-NEW-".
struct Finder : Named {
    Finder() : Named(u"X-FINDER") {}
    Encoder* find(const String& name) const override {
        lastAsked = name;
        if (name.ncmp(u"X-DYN-", 6) == 0) return const_cast<Finder*>(this);
        if (name.ncmp(u"X-NEW-", 6) == 0) return new Named(u"X-MADE");
        return nullptr;
    }
    mutable String lastAsked;
};

using Registry = FreshRegistry;

TEST_F(Registry, StartsWithTheBuiltInEncodersInOrderAndTheFourDesignations) {
    const char16_t* expected[] = {u"US-ASCII", u"BINARY", u"CP1252", u"ISO-8859-1", u"UCS2",  u"UCS2BE",
                                  u"UCS2LE",   u"UCS4",   u"UCS4BE", u"UCS4LE",     u"UTF-8", u"MACINTOSH"};
    ASSERT_GE(RegistryAccess::count(), 12);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(canonicalName(RegistryAccess::at(i)), expected[i]) << i;
    EXPECT_EQ(RegistryAccess::at(0), &Encoder::getAscii());
    EXPECT_EQ(RegistryAccess::at(1), &Encoder::getBinary());
    EXPECT_EQ(&Encoder::getDefault(), &Encoder::getSystem());
    // The list repeats ISO-8859-1; the second binding of the same encoder displaced nothing.
    EXPECT_TRUE(RegistryAccess::holds(Encoder::get(u"ISO-8859-1")));
}

TEST_F(Registry, NamesAreComparedInUpperCaseWithUnderscoresAsHyphens) {
    Encoder* latin1 = Encoder::get(u"ISO-8859-1");
    ASSERT_NE(latin1, nullptr);
    EXPECT_EQ(Encoder::get(u"Latin1"), latin1);
    EXPECT_EQ(Encoder::get(u"LATIN1"), latin1);
    EXPECT_EQ(Encoder::get(u"iso_8859_1"), latin1);
    EXPECT_EQ(Encoder::get(u"Iso-8859-1:1987"), latin1);
    // latin_1 reads as LATIN-1, which no list names; a host that wants it adds the alias.
    EXPECT_EQ(Encoder::get(u"latin_1"), nullptr);
    EXPECT_TRUE(Encoder::addAlias(u"latin1", u"latin_1"));
    EXPECT_EQ(Encoder::get(u"LATIN-1"), latin1);

    // Aliases written with "_" in a list are registered in their "-" form, and found either way.
    EXPECT_EQ(Encoder::get(u"ISO_646.IRV:1991"), &Encoder::getAscii());
    EXPECT_EQ(Encoder::get(u"ansi_x3.4-1968"), &Encoder::getAscii());
    EXPECT_EQ(Encoder::get(u"utf8"), Encoder::get(u"UTF-8"));

    EXPECT_EQ(Encoder::get(u""), &Encoder::getDefault());
    EXPECT_EQ(Encoder::get(static_cast<const unsigned short*>(nullptr)), &Encoder::getDefault());
    EXPECT_EQ(Encoder::get(u"NO-SUCH-ENCODING"), nullptr);
}

TEST_F(Registry, ABoundNameDisplacesItsEncoderOnlyWithItsLastName) {
    Encoder& ascii = Encoder::getAscii();
    Encoder* cp1252 = Encoder::get(u"CP1252");
    ASSERT_NE(cp1252, nullptr);
    Encoder::setDefault(*cp1252);

    EXPECT_TRUE(Encoder::addAlias(ascii, u"CP1252"));
    EXPECT_EQ(Encoder::get(u"cp1252"), &ascii);
    EXPECT_EQ(Encoder::get(u"WINDOWS-1252"), cp1252);
    EXPECT_EQ(Encoder::get(u"MS-ANSI"), cp1252);
    EXPECT_TRUE(RegistryAccess::holds(cp1252));

    EXPECT_TRUE(Encoder::addAlias(u"US-ASCII", u"windows_1252"));
    EXPECT_TRUE(RegistryAccess::holds(cp1252));
    EXPECT_EQ(&Encoder::getDefault(), cp1252);

    // The last name: the encoder leaves the list, is destroyed, and its designation follows.
    const int32_t count = RegistryAccess::count();
    const int32_t blocks = liveBlocks();
    EXPECT_TRUE(Encoder::addAlias(ascii, u"ms-ansi"));
    EXPECT_FALSE(RegistryAccess::holds(cp1252));
    EXPECT_EQ(RegistryAccess::count(), count - 1);
    EXPECT_EQ(liveBlocks(), blocks - 1);
    EXPECT_EQ(&Encoder::getDefault(), &ascii);
    EXPECT_EQ(Encoder::get(u"MS-ANSI"), &ascii);
}

TEST_F(Registry, ANewEncoderUnderAllTheNamesOfAnOldOneReplacesItEverywhere) {
    Encoder* old = &Encoder::getAscii();
    Encoder::setDefault(*old);
    auto* replacement = new Named(u"US-ASCII,ASCII,ISO646-US,ISO_646.IRV:1991,ISO-IR-6,ANSI_X3.4-1968,"
                                  u"CP367,IBM367,US,ISO646.1991-IRV,X-EXTRA");
    Encoder::add(*replacement);
    EXPECT_FALSE(RegistryAccess::holds(old));
    EXPECT_EQ(&Encoder::getAscii(), replacement);
    EXPECT_EQ(&Encoder::getDefault(), replacement);
    EXPECT_EQ(Encoder::get(u"us"), replacement);
    EXPECT_EQ(Encoder::get(u"X-EXTRA"), replacement);
    // Registering again changes nothing: the list holds it once, every name already names it.
    const int32_t count = RegistryAccess::count();
    Encoder::add(*replacement);
    EXPECT_EQ(RegistryAccess::count(), count);
}

TEST_F(Registry, NameListsMayRepeatNamesAndHoldEmptyEntries) {
    auto* repeated = new Named(u"X-ONE,x_one,,X-TWO,X-ONE");
    Encoder::add(*repeated);
    EXPECT_TRUE(RegistryAccess::holds(repeated));
    EXPECT_EQ(Encoder::get(u"X-ONE"), repeated);
    EXPECT_EQ(Encoder::get(u"x_two"), repeated);
    EXPECT_EQ(Encoder::get(u""), &Encoder::getDefault()) << "an empty entry names nothing";
}

TEST_F(Registry, AddAliasRefusesEmptyAliasesAndUnknownNamesAndRegistersNewEncoders) {
    EXPECT_FALSE(Encoder::addAlias(Encoder::getAscii(), static_cast<const unsigned short*>(nullptr)));
    EXPECT_FALSE(Encoder::addAlias(Encoder::getAscii(), u""));
    EXPECT_FALSE(Encoder::addAlias(u"NO-SUCH-ENCODING", u"X-ALIAS"));
    EXPECT_FALSE(Encoder::addAlias(u"UTF-8", u""));
    EXPECT_EQ(Encoder::get(u"X-ALIAS"), nullptr);

    // A new encoder comes in with all its own names before the alias is bound.
    auto* host = new Named(u"X-HOST,X-HOST-2");
    EXPECT_TRUE(Encoder::addAlias(*host, u"x_host_alias"));
    EXPECT_TRUE(RegistryAccess::holds(host));
    EXPECT_EQ(Encoder::get(u"X-HOST-ALIAS"), host);
    EXPECT_EQ(Encoder::get(u"X-HOST-2"), host);
}

TEST_F(Registry, UnknownNamesAreOfferedToEachEncodersFind) {
    auto* finder = new Finder;
    Encoder::add(*finder);
    EXPECT_EQ(Encoder::get(u"x_dyn_1"), finder);
    EXPECT_EQ(finder->lastAsked, u"X-DYN-1") << "find is asked with the normalised name";
    finder->lastAsked.erase();
    EXPECT_EQ(Encoder::get(u"X-DYN-1"), finder);
    EXPECT_EQ(finder->lastAsked.length(), 0) << "the name is bound after the first answer";

    Encoder* made = Encoder::get(u"x-new-1");
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(RegistryAccess::holds(made)) << "an encoder offered by find is registered";
    EXPECT_EQ(Encoder::get(u"X-MADE"), made);
    EXPECT_EQ(Encoder::get(u"X-NEW-1"), made);
    EXPECT_EQ(Encoder::get(u"X-NOTHING"), nullptr);
}

TEST_F(Registry, SetDefaultMovesOnlyTheDefaultAndRegistersNothing) {
    Encoder& system = Encoder::getSystem();
    Named host(u"X-STACK");
    Encoder::setDefault(host);
    EXPECT_EQ(&Encoder::getDefault(), &host);
    EXPECT_EQ(&Encoder::getSystem(), &system);
    EXPECT_FALSE(RegistryAccess::holds(&host));
    EXPECT_EQ(Encoder::get(u"X-STACK"), nullptr);
    EXPECT_EQ(Encoder::get(u""), &host) << "the empty name gives the default, not registered";
    EXPECT_FALSE(RegistryAccess::holds(&host));
    Encoder::setDefault(system); // before host goes out of scope
}

TEST(RegistryLifetime, WithoutARegistryTheGettersHandOutUnregisteredStandIns) {
    detail::encodersModule(false);
    Encoder& ascii = Encoder::getAscii();
    EXPECT_EQ(canonicalName(&ascii), u"US-ASCII");
    EXPECT_EQ(canonicalName(&Encoder::getBinary()), u"BINARY");
    EXPECT_EQ(&Encoder::getDefault(), &ascii);
    EXPECT_EQ(&Encoder::getSystem(), &ascii);
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
        detail::encodersModule(false);
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
        {"en_US.utf8", u"UTF8"},
        {"ru_RU.KOI8-R", u"KOI8-R"},
        {"de_DE.ISO-8859-15@euro", u"ISO-8859-15"},
        {"ja_JP.eucJP", u"EUCJP"},
        {"sr_RS.UTF-8@latin", u"UTF-8"},
        {"C.UTF-8", u"UTF-8"},
        {"xx.1251", u"CP1251"},
        {"1252", u"CP1252"}, // the Windows answer
        {"iso_8859_1", u""},
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

    // At most 126 characters of the answer are kept; "CP" comes on top.
    std::string longSet = "x." + std::string(200, 'a');
    EXPECT_EQ(encoders::systemEncodingName(longSet.c_str()).length(), 126);
    std::string longNumber = std::string(200, '7');
    EXPECT_EQ(encoders::systemEncodingName(longNumber.c_str()).length(), 128);
}

TEST_F(Registry, SystemNamesFindTheTableTheFactoryOrTheCodePagesOfCodeSets) {
    EXPECT_EQ(encoders::findSystemEncoder(u"UTF-8"), Encoder::get(u"UTF-8"));
    EXPECT_EQ(encoders::findSystemEncoder(u"UTF8"), Encoder::get(u"UTF-8"));
    EXPECT_EQ(encoders::findSystemEncoder(u"CP1252"), Encoder::get(u"CP1252"));
    // A locale's own spelling of Latin-1 reaches the built-in encoder, not the platform.
    EXPECT_EQ(encoders::findSystemEncoder(u"ISO8859-1"), Encoder::get(u"ISO-8859-1"));
    EXPECT_EQ(encoders::findSystemEncoder(u""), nullptr);
    EXPECT_EQ(encoders::findSystemEncoder(u"X-UNKNOWN-SET"), nullptr);

    struct Case {
        const char16_t* name;
        uint32_t codePage;
        const char16_t* canonical;
    } cases[] = {
        {u"KOI8-R", 20866, u"KOI-8R"},           // through the code page of the code set
        {u"KOI8R", 20866, u"KOI-8R"},            // ru_RU.koi8r
        {u"ISO-8859-15", 28605, u"ISO-8859-15"}, // through the factory's table
        {u"EUCJP", 51932, u"EUC-JP"},
        {u"CP1251", 1251, u"CP1251"},
        {u"GB2312", 936, u"CP936"},
    };
    for (const Case& c : cases) {
        auto* found = dynamic_cast<UniversalEncoder*>(encoders::findSystemEncoder(c.name));
        ASSERT_NE(found, nullptr) << static_cast<const void*>(c.name);
        EXPECT_EQ(found->getCodePage(), c.codePage);
        EXPECT_EQ(canonicalName(found), c.canonical);
        EXPECT_TRUE(RegistryAccess::holds(found));
    }
}

// The start step reads the environment: LC_ALL, then LC_CTYPE, then LANG, the first that is set
// and not empty.
class SystemFromEnvironment : public FreshRegistry {
protected:
    void SetUp() override {
        for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
            const char* value = std::getenv(name);
            saved.push_back(value ? std::string(value) : std::string("\x01"));
        }
    }
    void TearDown() override {
        const char* names[] = {"LC_ALL", "LC_CTYPE", "LANG"};
        for (size_t i = 0; i < 3; ++i) {
            if (saved[i] == "\x01")
                unsetenv(names[i]);
            else
                setenv(names[i], saved[i].c_str(), 1);
        }
        FreshRegistry::TearDown();
    }
    static Encoder& startWith(const char* all, const char* ctype, const char* lang) {
        const char* values[] = {all, ctype, lang};
        const char* names[] = {"LC_ALL", "LC_CTYPE", "LANG"};
        for (size_t i = 0; i < 3; ++i) {
            if (values[i])
                setenv(names[i], values[i], 1);
            else
                unsetenv(names[i]);
        }
        restartRegistry();
        return Encoder::getSystem();
    }
    std::vector<std::string> saved;
};

TEST_F(SystemFromEnvironment, TheFirstSetVariableNamesTheSystemAndDefaultEncoder) {
    struct Case {
        const char* all;
        const char* ctype;
        const char* lang;
        const char16_t* expected; // a registered name, or null for ASCII
    } cases[] = {
        {nullptr, nullptr, "en_US.UTF-8", u"UTF-8"},
        {"", "ru_RU.KOI8-R", "en_US.UTF-8", u"KOI-8R"},
        {"de_DE.ISO-8859-15@euro", "ru_RU.KOI8-R", nullptr, u"ISO-8859-15"},
        {nullptr, nullptr, "ru_RU.1251", u"CP1251"},
        {"C", "ru_RU.KOI8-R", "en_US.UTF-8", nullptr},
        {nullptr, nullptr, nullptr, nullptr},
        {nullptr, "xx_XX.NO-SUCH-SET", nullptr, nullptr},
    };
    for (const Case& c : cases) {
        Encoder* system = &startWith(c.all, c.ctype, c.lang);
        Encoder* expected = c.expected ? Encoder::get(c.expected) : &Encoder::getAscii();
        EXPECT_EQ(canonicalName(system), canonicalName(expected))
            << (c.all ? c.all : "-") << " " << (c.ctype ? c.ctype : "-");
        EXPECT_EQ(system, expected);
        EXPECT_EQ(&Encoder::getDefault(), system);
    }
}

} // namespace
