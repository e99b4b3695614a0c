#include "support/StringPrinting.h"

#include <quarn/Array.h>
#include <quarn/Localizer.h>

#include <gtest/gtest.h>

using namespace Quarn;

namespace {

// The first argc of "a%2", "b", "3", ..., "11", "twelfth".
String localizeWith(const String& pattern, int argc) {
    static const char16_t* const texts[] = {u"a%2", u"b", u"3", u"4",  u"5",  u"6",
                                            u"7",   u"8", u"9", u"10", u"11", u"twelfth"};
    const unsigned short* argv[12];
    for (int i = 0; i < 12; ++i)
        argv[i] = reinterpret_cast<const unsigned short*>(texts[i]);
    return Localizer::get().localize(pattern, argc, argv);
}

// Restores the default localizer even when an expectation fails.
struct Installed {
    explicit Installed(const Localizer& localizer) { Localizer::set(&localizer); }
    ~Installed() { Localizer::set(nullptr); }
};

TEST(Localizer, ArgumentReferencesAndPercentSigns) {
    const struct {
        const char16_t* pattern;
        int argc;
        const char16_t* expected;
    } cases[] = {
        {u"%1 and %2", 2, u"a%2 and b"}, // arguments are not scanned again
        {u"%1 and %2", 1, u"a%2 and "},  // references beyond argc vanish...
        {u"[%0]", 1, u"[]"},             // ...and so does %0
        {u"%2%1%2", 2, u"ba%2b"},
        {u"", 1, u""},
        {u"<%12>", 11, u"<>"},
        {u"<%12>", 12, u"<twelfth>"}, // all the digits form the number
        {u"<%1x2>", 12, u"<a%2x2>"},
        {u"<%99999999999999999999999>", 12, u"<>"},
        {u"100%%", 0, u"100%"},
        {u"% %", 0, u"% %"}, // a % before anything else, or at the end, is kept
        {u"%%1", 1, u"%1"},  // %% is consumed before a digit can follow
    };
    for (const auto& c : cases)
        EXPECT_EQ(localizeWith(c.pattern, c.argc), c.expected) << String(c.pattern);
}

TEST(Localizer, ArrayArgumentsAreTheirTextsAndStayUntouched) {
    Array args;
    args += 255;
    args += 1.5;
    args += true;
    args += u"s";
    args[5] = u"after a hole";
    EXPECT_EQ(Localizer::get().localize(u"%1|%2|%3|%4|%5|%6|%7", args),
              u"255|1.5|true|s|undefined|after a hole|");
    EXPECT_EQ(args[0].getType(), TypeNumber);
    EXPECT_FALSE(args.isDefined(4)) << "holes are not filled in";
    EXPECT_EQ(Localizer::get().localize(u"none%1", Array()), u"none");
}

TEST(Localizer, AnInstalledLocalizerTranslatesUntilSetNull) {
    class Host : public Localizer {
    public:
        void getLocalizedText(const String& key, String& out) const override {
            out = key == u"greeting" ? String(u"Hello %1, %2!") : key;
        }
    } host;
    const Localizer& original = Localizer::get();
    EXPECT_EQ(&original, &Localizer::getDefault());
    {
        Installed installed(host);
        EXPECT_EQ(localizeWith(u"greeting", 2), u"Hello a%2, b!");
        Array args;
        args += 1;
        String s(u"greeting");
        s.localize(args);
        EXPECT_EQ(s, u"Hello 1, !");
    }
    EXPECT_EQ(&Localizer::get(), &original) << "set(nullptr) restores the default";
}

TEST(Localizer, DefaultCaseConversionAndComparison) {
    const Localizer& localizer = Localizer::getDefault();
    String out(u"stale");
    localizer.localizedCaseConvert(u"MiXed \u00e9", out, false);
    EXPECT_EQ(out, u"MIXED \u00c9");
    localizer.localizedCaseConvert(u"MiXed \u00c9", out, true);
    EXPECT_EQ(out, u"mixed \u00e9");
    EXPECT_LT(localizer.localizedCompare(u"a", u"b"), 0);
    EXPECT_GT(localizer.localizedCompare(u"a", u"B"), 0) << "case-sensitive, by code unit";
}

} // namespace
