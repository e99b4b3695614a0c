#include "text/StringEncoding.h"
#include "encoders/FreshRegistry.h"
#include "support/ExhaustionSweep.h"
#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/Encoder.h>
#include <quarn/String.h>
#include <quarn/Variant.h>

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

using namespace Quarn;
using namespace quarn_test;

namespace {

String unitsOf(std::initializer_list<unsigned short> list) {
    return String(list.begin(), static_cast<int32_t>(list.size()));
}

Encoder* named(const char16_t* name) {
    Encoder* encoder = Encoder::get(name);
    EXPECT_NE(encoder, nullptr);
    return encoder;
}

std::string encoded(const String& text, Encoder* encoder, int16_t* status = nullptr) {
    const char* bytes = nullptr;
    int32_t count = -1;
    int16_t code = text.encode(bytes, count, encoder);
    if (status) *status = code;
    EXPECT_EQ(count, String::getEncodedLength());
    EXPECT_EQ(bytes[count], 0) << "the bytes are followed by a 0 byte";
    return std::string(bytes, static_cast<size_t>(count));
}

String decoded(const std::string& bytes, Encoder* encoder, int16_t* status = nullptr) {
    String text(u"old text");
    int16_t code = text.decode(bytes.data(), static_cast<int32_t>(bytes.size()), encoder);
    if (status) *status = code;
    return text;
}

// Latin-1 by hand, with no length query, recording how it is called: the string layer must then
// go in pieces. A refusing one converts nothing.
struct Recorder : Encoder {
    explicit Recorder(bool refuses = false) : Encoder(1, true), refuses(refuses) {}
    const unsigned short* getNames() const override {
        return reinterpret_cast<const unsigned short*>(u"X-RECORDER");
    }
    template <class From, class To>
    int16_t convert(const From* src, int32_t& srcLen, To* dst, int32_t& dstLen, bool continued) const {
        calls.push_back({srcLen, dstLen, continued});
        int32_t n = refuses ? 0 : srcLen < dstLen ? srcLen : dstLen;
        for (int32_t i = 0; i < n; ++i)
            dst[i] = static_cast<To>(static_cast<unsigned char>(src[i]));
        srcLen = dstLen = n;
        return refuses ? ErrConversion : ErrNone;
    }
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override {
        return convert(src, srcLen, dst, dstLen, continued);
    }
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override {
        return convert(src, srcLen, dst, dstLen, continued);
    }
    struct Call {
        int32_t srcLen;
        int32_t dstLen;
        bool continued;
    };
    bool refuses;
    mutable std::vector<Call> calls;
};

class StringEncoding : public FreshRegistry {
protected:
    void SetUp() override { EncodingScratch::release(); }
    void TearDown() override {
        EncodingScratch::release();
        FreshRegistry::TearDown();
    }
};

const char16_t kMixed[] = u"abc \u00E9\u20AC \u0416\u4E2D \U0001F600 end";

TEST_F(StringEncoding, TextRoundTripsThroughTheBuiltInEncoders) {
    EXPECT_EQ(encoded(kMixed, named(u"UTF-8")),
              "abc \xC3\xA9\xE2\x82\xAC \xD0\x96\xE4\xB8\xAD \xF0\x9F\x98\x80 end");
    EXPECT_EQ(encoded(u"\u00E9\u20AC", named(u"MACINTOSH")), "\x8E\xDB");
    struct Case {
        const char16_t* encoder;
        const char16_t* text;
    } cases[] = {
        {u"UTF-8", kMixed},
        {u"UCS-2LE", kMixed},
        {u"UCS-2BE", kMixed},
        {u"UCS-4BE", u"\u0416\uFFFD"},
        {u"CP1252", u"a\u00E9\u20AC"},
        {u"X-MAC-ROMAN", u"a\u00E9\u20AC"},
    };
    for (const Case& c : cases) {
        int16_t out = -1, in = -1;
        EXPECT_EQ(decoded(encoded(c.text, named(c.encoder), &out), named(c.encoder), &in), c.text);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(in, 0);
    }

    // Long texts, and a UTF-8 length query that counts each four-byte sequence as one unit: the
    // one call stops short and the rest follows in pieces.
    String emoji;
    for (int i = 0; i < 3000; ++i)
        emoji += u"\U0001F600";
    int16_t status = -1;
    EXPECT_EQ(decoded(encoded(emoji, named(u"UTF-8")), named(u"UTF-8"), &status), emoji);
    EXPECT_EQ(status, 0);
    String latin;
    latin.setup(0xE9, 70000);
    EXPECT_EQ(decoded(encoded(latin, named(u"UTF-8")), named(u"UTF-8")), latin);
    EXPECT_EQ(String::getEncodedLength(), 140000);
}

TEST_F(StringEncoding, DecodeTakesLengthsNullsAndTheDefaultEncoder) {
    Encoder* latin1 = named(u"ISO-8859-1");
    String text(u"keep");
    EXPECT_EQ(text.decode("ab\0cd", 5, latin1), 0);
    EXPECT_EQ(text.length(), 5);
    EXPECT_EQ(text.wstr()[2], 0);
    EXPECT_EQ(text.decode("ab\0cd", -1, latin1), 0);
    EXPECT_EQ(text, u"ab");
    EXPECT_EQ(text.decode(nullptr, 5, latin1), 0);
    EXPECT_EQ(text.length(), 0);

    // Without an encoder: the default one, whatever the system encoder is.
    Encoder& system = Encoder::getSystem();
    Encoder::setDefault(*named(u"UCS-2LE"));
    EXPECT_EQ(text.decode("h\0i\0", 4), 0);
    EXPECT_EQ(text, u"hi");
    EXPECT_EQ(encoded(u"ok", nullptr), std::string("o\0k\0", 4));
    Encoder::setDefault(*named(u"CP1252"));
    EXPECT_EQ(String("\x80"), u"\u20AC");
    String printed;
    printed.print(u"%s|%c|%.1s", "\x80\x80", '\x80', "\x93x");
    EXPECT_EQ(printed, u"\u20AC\u20AC|\u20AC|\u201C");
    EXPECT_EQ(&Encoder::getSystem(), &system);
    Recorder host; // the default, yet not registered
    Encoder::setDefault(host);
    EXPECT_EQ(String("ab"), u"ab");
    EXPECT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(Encoder::get(u"X-RECORDER"), nullptr);

    Encoder::setDefault(*named(u"UTF-8"));
    EXPECT_EQ(Variant("caf\xC3\xA9").getString(), u"caf\u00E9");
    Variant value = "plain";
    EXPECT_EQ(value.getType(), TypeString) << "bytes are text, not a pointer taken for true";
    value = "ma\xC3\xB1"
            "ana";
    EXPECT_EQ(value.getString(), u"ma\u00F1ana");
    EXPECT_EQ(Variant("\xE9", latin1).getString(), u"\u00E9");
}

TEST_F(StringEncoding, TheStatusIsTheFirstProblemAndTheTextWhatCouldBeConverted) {
    int16_t status = -1;
    EXPECT_EQ(decoded("a\xE9z", &Encoder::getAscii(), &status), u"a\uFFFDz");
    EXPECT_EQ(status, ErrConversion);
    EXPECT_EQ(encoded(u"a\u00E9z", &Encoder::getAscii(), &status), "a?z");
    EXPECT_EQ(status, ErrConversion);

    // UTF-8 stops after a bad sequence; the string layer goes on after it.
    Encoder* utf8 = named(u"UTF-8");
    EXPECT_EQ(decoded("caf\xC3(ok", utf8, &status), u"caf\uFFFDok");
    EXPECT_EQ(status, ErrConversion);
    EXPECT_EQ(decoded("ab\xE2\x82", utf8, &status), u"ab");
    EXPECT_EQ(status, ErrPartialMultibyte);
    // A byte that cannot begin a sequence is replaced like any bad sequence (UTF-8 gives a bound, so
    // its length query, which refuses such a byte, is not asked).
    EXPECT_EQ(decoded("ab\x80", utf8, &status), u"ab\uFFFD");
    EXPECT_EQ(status, ErrConversion);
    // An encoder that stops where it cannot go on leaves what came before.
    EXPECT_EQ(encoded(String(unitsOf({'a', 0xDC00, 'b'})), utf8, &status), "a");
    EXPECT_EQ(status, ErrConversion);

    Recorder refuser(true);
    EXPECT_EQ(decoded("abc", &refuser, &status).length(), 0);
    EXPECT_EQ(status, ErrConversion);
    EXPECT_LE(refuser.calls.size(), 2u) << "no progress ends the conversion";
}

TEST_F(StringEncoding, WithoutALengthTheTextGoesInPiecesOf2048) {
    Recorder recorder;
    std::string bytes(5000, 'x');
    bytes[4999] = '\xE9';
    String text = decoded(bytes, &recorder);
    EXPECT_EQ(text.length(), 5000);
    EXPECT_EQ(text.wstr()[4999], 0xE9);
    ASSERT_EQ(recorder.calls.size(), 3u);
    EXPECT_EQ(recorder.calls[0].srcLen, 5000);
    EXPECT_EQ(recorder.calls[2].srcLen, 904);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(recorder.calls[i].dstLen, 2048);
        EXPECT_EQ(recorder.calls[i].continued, i > 0);
    }

    recorder.calls.clear();
    EXPECT_EQ(encoded(text, &recorder), bytes);
    ASSERT_EQ(recorder.calls.size(), 3u);
    EXPECT_EQ(recorder.calls[2].dstLen, 2048);
    EXPECT_TRUE(recorder.calls[2].continued);
    // The buffer grew with the total, exactly, keeping what was there.
    EXPECT_EQ(EncodingScratch::capacity(), 5001u);
}

TEST_F(StringEncoding, TheScratchBufferGrowsToExactlyTheNeedAndDropsLargeOnes) {
    Encoder* binary = &Encoder::getBinary();
    String text(u"abc");
    EXPECT_STREQ(text.encode(binary), "abc");
    EXPECT_EQ(EncodingScratch::capacity(), 4u);
    auto capacityAfter = [&](int32_t n) {
        text.setup('x', n);
        text.encode(binary);
        EXPECT_EQ(String::getEncodedLength(), n);
        EXPECT_EQ(EncodingScratch::data()[n], 0);
        return EncodingScratch::capacity();
    };
    EXPECT_EQ(capacityAfter(10), 11u);
    EXPECT_EQ(capacityAfter(2), 11u) << "a buffer larger than needed is kept...";
    EXPECT_EQ(capacityAfter(16383), 16384u);
    EXPECT_EQ(capacityAfter(3), 16384u);
    EXPECT_EQ(capacityAfter(16384), 16385u);
    const char* data = EncodingScratch::data();
    EXPECT_EQ(capacityAfter(16384), 16385u);
    EXPECT_EQ(EncodingScratch::data(), data);
    EXPECT_EQ(capacityAfter(3), 4u) << "...unless it holds more than 16384 bytes";
    EXPECT_EQ(capacityAfter(0), 4u);

    // Growing copies the old contents over.
    std::memcpy(EncodingScratch::reserve(3), "xyz", 3);
    EXPECT_EQ(std::string(EncodingScratch::reserve(100), 3), "xyz");
    EXPECT_EQ(EncodingScratch::capacity(), 101u);
}

TEST_F(StringEncoding, AFailedGrowthFreesTheBufferAndLetsTheExceptionOut) {
    String large, small(u"small");
    large.setup('x', 20000);
    large.encode(&Encoder::getBinary());
    {
        // The large buffer is dropped, and making the exact one fails.
        TestAllocator failing;
        ScopedAllocator scope(failing);
        failing.failAt(1);
        EXPECT_THROW(small.encode(&Encoder::getBinary()), std::bad_alloc);
        failing.failAt(0);
    }
    EXPECT_EQ(EncodingScratch::data(), nullptr);
    EXPECT_EQ(EncodingScratch::capacity(), 0u);
    EXPECT_EQ(String::getEncodedLength(), 0);
    EXPECT_STREQ(small.encode(&Encoder::getBinary()), "small");

    // Every allocation of the conversions failing in turn: the exception comes out, nothing leaks.
    struct ReleaseScratch {
        ~ReleaseScratch() { EncodingScratch::release(); }
    };
    EncodingScratch::release();
    Recorder recorder;
    EXPECT_GT(sweepAllocations("encode and decode",
                               [&] {
                                   ReleaseScratch release;
                                   String text(kMixed);
                                   text.encode(named(u"UTF-8"));
                                   String pieces;
                                   pieces.setup('q', 3000);
                                   pieces.encode(&recorder);
                                   String back(std::string(4100, 'b').c_str(), &recorder);
                                   String uri(u"a b/\u00E9");
                                   uri.encodeURI(u"/");
                                   uri.decodeURI();
                                   Variant bytes("caf\xC3\xA9", named(u"UTF-8"));
                               }),
              10);
}

// ---------------------------------------------------------------------------------------------
// URIs

const char16_t kUriKeep[] = u"-_.!~*'();/?:@&=+$,#";

TEST_F(StringEncoding, EncodeURIEscapesEveryUTF8ByteOutsideLettersDigitsAndTheKeepSet) {
    String uri(u"a b/\u00E9");
    EXPECT_TRUE(uri.encodeURI(kUriKeep));
    EXPECT_EQ(uri, u"a%20b/%C3%A9");

    String all(u"Az09-_.!~*'();/?:@&=+$,#%\"<>\\^`{|}\U0001F600");
    EXPECT_TRUE(all.encodeURI(kUriKeep));
    EXPECT_EQ(all, u"Az09-_.!~*'();/?:@&=+$,#%25%22%3C%3E%5C%5E%60%7B%7C%7D%F0%9F%98%80");
    // keep is compared as units: U+00C3 keeps the byte C3. A 0 byte is always escaped.
    String accent(unitsOf({0xE9, '-', 0}));
    EXPECT_TRUE(accent.encodeURI(u"\u00C3"));
    EXPECT_EQ(accent, u"\u00C3%A9%2D%00");

    // No UTF-8 form: false and the text as it was. "UTF8" is whatever encoder the name is bound to.
    String broken(unitsOf({'a', 0xD800}));
    EXPECT_FALSE(broken.encodeURI(kUriKeep));
    EXPECT_EQ(broken.length(), 2);
    Encoder::addAlias(Encoder::getAscii(), u"UTF8");
    String text(u"\u00E9 ");
    EXPECT_FALSE(text.encodeURI(kUriKeep));
    EXPECT_EQ(text, u"\u00E9 ");
}

TEST_F(StringEncoding, DecodeURIReadsRunsOfEscapesAsUTF8) {
    struct Case {
        const char16_t* uri;
        const char16_t* text;
    } cases[] = {
        {u"%C3%A9%41", u"\u00E9A"}, {u"%E9x", u"?x"},       {u"%e9%E9", u"?"}, // one rejected run, one "?"
        {u"%C3%A9%E9%41", u"?"},    {u"a%2fb%2F", u"a/b/"}, {u"", u""},
    };
    for (const Case& c : cases) {
        String text(c.uri);
        EXPECT_TRUE(text.decodeURI());
        EXPECT_EQ(text, c.text);
    }
    String zero(u"%00");
    EXPECT_TRUE(zero.decodeURI());
    EXPECT_EQ(zero, unitsOf({0}));

    for (const char16_t* bad : {u"%4", u"%G1", u"abc%", u"%%", u"%C3%A", u"ok%4g"}) {
        String text(bad);
        EXPECT_FALSE(text.decodeURI());
        EXPECT_EQ(text, bad) << "left as it was";
    }

    String round(kMixed);
    ASSERT_TRUE(round.encodeURI(kUriKeep));
    ASSERT_TRUE(round.decodeURI());
    EXPECT_EQ(round, kMixed);
}

} // namespace
