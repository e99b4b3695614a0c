#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/Array.h>
#include <quarn/Localizer.h>

#include <gtest/gtest.h>

#include <new>
#include <vector>

using namespace Quarn;

namespace {

const unsigned short* w(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

String localizeWith(const String& pattern, std::vector<const char16_t*> args) {
    std::vector<const unsigned short*> argv;
    for (const char16_t* a : args)
        argv.push_back(w(a));
    return Localizer::get().localize(pattern, static_cast<int>(argv.size()), argv.data());
}

// Translates two keys and orders texts backwards.
class TestLocalizer : public Localizer {
public:
    void getLocalizedText(const String& key, String& out) const override {
        if (key == u"greeting")
            out = u"Hello %1, %2!";
        else if (key == u"friend")
            out = u"my friend";
        else
            out = key;
    }
    int localizedCompare(const String& a, const String& b) const override { return b.cmp(a); }
};

// Restores the default localizer even when an expectation fails.
struct Installed {
    explicit Installed(const Localizer& localizer) { Localizer::set(&localizer); }
    ~Installed() { Localizer::set(nullptr); }
};

TEST(Localizer, ArgumentReferences) {
    EXPECT_EQ(localizeWith(u"%1 and %2", {u"a", u"b"}), u"a and b");
    EXPECT_EQ(localizeWith(u"%1 and %2", {u"a"}), u"a and ") << "a reference beyond argc vanishes";
    EXPECT_EQ(localizeWith(u"[%0]", {u"a"}), u"[]") << "so does %0";
    EXPECT_EQ(localizeWith(u"%2%1%2", {u"x", u"y"}), u"yxy");
    EXPECT_EQ(localizeWith(u"%1", {}), u"");
    EXPECT_EQ(localizeWith(u"", {u"a"}), u"");
    EXPECT_EQ(localizeWith(u"%1x", {u"%2", u"b"}), u"%2x") << "arguments are not scanned again";

    std::vector<const char16_t*> twelve = {u"1", u"2", u"3", u"4",  u"5", u"6",
                                           u"7", u"8", u"9", u"10", u"11"};
    EXPECT_EQ(localizeWith(u"<%12>", twelve), u"<>");
    twelve.push_back(u"twelfth");
    EXPECT_EQ(localizeWith(u"<%12>", twelve), u"<twelfth>") << "all digits form the number";
    EXPECT_EQ(localizeWith(u"<%012>", twelve), u"<twelfth>");
    EXPECT_EQ(localizeWith(u"<%1x2>", twelve), u"<1x2>");
    EXPECT_EQ(localizeWith(u"<%99999999999999999999999>", twelve), u"<>") << "a huge number saturates";
}

TEST(Localizer, PercentSigns) {
    EXPECT_EQ(localizeWith(u"100%%", {}), u"100%");
    EXPECT_EQ(localizeWith(u"50%x", {}), u"50%x");
    EXPECT_EQ(localizeWith(u"% %", {}), u"% %") << "a trailing lone % is kept";
    EXPECT_EQ(localizeWith(u"%", {}), u"%");
    EXPECT_EQ(localizeWith(u"%%%", {}), u"%%");
    EXPECT_EQ(localizeWith(u"%%1", {u"a"}), u"%1") << "%% is consumed before a digit can follow";
    EXPECT_EQ(localizeWith(u"%%%1", {u"a"}), u"%a");

    const unsigned short withZero[] = {'%', 0, 'a', '%', '1'};
    String result = Localizer::get().localize(String(withZero, 5), 0, nullptr);
    ASSERT_EQ(result.length(), 3) << "the template's length counts, not its first 0 unit";
    EXPECT_EQ(result.wstr()[0], '%');
    EXPECT_EQ(result.wstr()[1], 0);
    EXPECT_EQ(result.wstr()[2], 'a');
}

TEST(Localizer, ArrayArgumentsAreTheirTextsAndStayUntouched) {
    Array args;
    args += 255;
    args += 1.5;
    args += true;
    args += u"s";
    args[5] = u"after a hole";
    const Array before = args;
    EXPECT_EQ(Localizer::get().localize(u"%1|%2|%3|%4|%5|%6|%7", args),
              u"255|1.5|true|s|undefined|after a hole|");
    EXPECT_EQ(args[0].getType(), TypeNumber);
    EXPECT_FALSE(args.isDefined(4)) << "holes are not filled in";
    EXPECT_EQ(args, before);
    EXPECT_EQ(Localizer::get().localize(u"none%1", Array()), u"none");

    // Failing every allocation in turn: either a result or std::bad_alloc, never a leak.
    for (long n = 1;; ++n) {
        quarn_test::TestAllocator allocator;
        const int32_t start = quarn_test::liveBlocks();
        {
            quarn_test::ScopedAllocator scope(allocator);
            allocator.failAt(n);
            try {
                String text = Localizer::get().localize(u"%1 %2", args);
                EXPECT_FALSE(allocator.hasFailed());
                EXPECT_EQ(text, u"255 1.5");
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(allocator.hasFailed());
            }
        }
        EXPECT_EQ(quarn_test::liveBlocks(), start) << "allocation " << n;
        if (!allocator.hasFailed()) break;
    }
}

TEST(Localizer, InstalledLocalizerTranslatesKeysAndDefaultComesBack) {
    const Localizer& original = Localizer::get();
    EXPECT_EQ(&original, &Localizer::getDefault());
    TestLocalizer host;
    {
        Installed installed(host);
        EXPECT_EQ(&Localizer::get(), &host);
        EXPECT_EQ(&Localizer::getDefault(), &original);
        EXPECT_EQ(localizeWith(u"greeting", {u"Ann", u"Bob"}), u"Hello Ann, Bob!");
        EXPECT_EQ(localizeWith(u"plain %1", {u"x"}), u"plain x");

        String s(u"greeting");
        const unsigned short* argv[] = {w(u"you"), w(u"me")};
        s.localize(2, argv);
        EXPECT_EQ(s, u"Hello you, me!");
        Array args;
        args += 1;
        s = u"greeting";
        s.localize(args);
        EXPECT_EQ(s, u"Hello 1, !");
    }
    EXPECT_EQ(&Localizer::get(), &original) << "set(nullptr) restores the default";
    String s(u"greeting");
    s.localize(0, nullptr);
    EXPECT_EQ(s, u"greeting");
}

TEST(Localizer, DefaultOperations) {
    const Localizer& localizer = Localizer::getDefault();
    String out(u"stale");
    localizer.getLocalizedText(u"key", out);
    EXPECT_EQ(out, u"key");

    localizer.localizedCaseConvert(u"MiXed \u00e9", out, false);
    EXPECT_EQ(out, u"MIXED \u00c9");
    localizer.localizedCaseConvert(u"MiXed \u00c9", out, true);
    EXPECT_EQ(out, u"mixed \u00e9");
    String in(u"shared");
    localizer.localizedCaseConvert(in, out, false);
    EXPECT_EQ(in, u"shared") << "the input is not converted in place";

    EXPECT_LT(localizer.localizedCompare(u"a", u"b"), 0);
    EXPECT_GT(localizer.localizedCompare(u"a", u"B"), 0) << "case-sensitive, by code unit";
    EXPECT_EQ(localizer.localizedCompare(u"a", u"a"), 0);

    // The built-in lookup (its rules are the errors' tests' business).
    String message;
    localizer.getMessage(-2, message);
    EXPECT_EQ(message, u"%1 is undefined");

    TestLocalizer host;
    Installed installed(host);
    EXPECT_GT(Localizer::get().localizedCompare(u"a", u"b"), 0) << "the virtual slot is used";
}

} // namespace
