#include "text/StringEncoding.h"
#include "encoders/FreshRegistry.h"
#include "support/ExhaustionSweep.h"
#include "support/StringPrinting.h"

#include <quarn/Encoder.h>
#include <quarn/String.h>
#include <quarn/Variant.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string>

using namespace Quarn;
using namespace quarn_test;

// Round trips of text through every encoder, and of URIs, are the fuzzers' business
// (fuzz/EncodersFuzz.cpp, fuzz/UriFuzz.cpp); these tests pin the string layer's own rules.
namespace {

String unitsOf(std::initializer_list<unsigned short> list) {
    return String(list.begin(), static_cast<int32_t>(list.size()));
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

// Latin-1 by hand, with no length query, logging each call as "source/destination" ("+" when it
// continues a text): the string layer must then go in pieces. A refusing one converts nothing.
struct Recorder : Encoder {
    explicit Recorder(bool refuses = false) : Encoder(1, true), refuses(refuses) {}
    const unsigned short* getNames() const override {
        return reinterpret_cast<const unsigned short*>(u"X-RECORDER");
    }
    template <class From, class To>
    int16_t convert(const From* src, int32_t& srcLen, To* dst, int32_t& dstLen, bool continued) const {
        log += std::to_string(srcLen) + "/" + std::to_string(dstLen) + (continued ? "+ " : " ");
        int32_t n = refuses ? 0 : std::min(srcLen, dstLen);
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
    bool refuses;
    mutable std::string log;
};

class StringEncoding : public FreshRegistry {
protected:
    void SetUp() override { EncodingScratch::release(); }
    void TearDown() override {
        EncodingScratch::release();
        FreshRegistry::TearDown();
    }
};

// A new scratch buffer cannot be had: the exception comes out and no buffer is left behind.
void expectFailedGrowthFreesTheBuffer(const String& text, Encoder& encoder) {
    {
        TestAllocator failing;
        ScopedAllocator scope(failing);
        failing.failAt(1);
        EXPECT_THROW(text.encode(&encoder), std::bad_alloc);
        failing.failAt(0);
    }
    EXPECT_EQ(EncodingScratch::data(), nullptr);
    EXPECT_EQ(EncodingScratch::capacity(), 0u);
    EXPECT_EQ(String::getEncodedLength(), 0);
}

TEST_F(StringEncoding, LengthsNullsAndTheDefaultEncoder) {
    Encoder* latin1 = Encoder::get(u"ISO-8859-1");
    String text(u"keep");
    EXPECT_EQ(text.decode("ab\0cd", 5, latin1), 0);
    EXPECT_EQ(text, unitsOf({'a', 'b', 0, 'c', 'd'}));
    EXPECT_EQ(text.decode("ab\0cd", -1, latin1), 0);
    EXPECT_EQ(text, u"ab");
    EXPECT_EQ(text.decode(nullptr, 5, latin1), 0);
    EXPECT_EQ(text.length(), 0);

    // Without an encoder: the default one, whatever the system encoder is, registered or not.
    Encoder& system = Encoder::getSystem();
    Encoder::setDefault(*Encoder::get(u"CP1252"));
    EXPECT_EQ(text.decode("\x80\x93", 2), 0);
    EXPECT_EQ(text, u"\u20AC\u201C");
    EXPECT_EQ(encoded(text, nullptr), "\x80\x93");
    EXPECT_EQ(Variant("\x80").getString(), u"\u20AC");
    EXPECT_EQ(&Encoder::getSystem(), &system);
    Recorder host;
    Encoder::setDefault(host);
    EXPECT_EQ(String("\x80"), u"\u0080");
    EXPECT_EQ(Encoder::get(u"X-RECORDER"), nullptr) << "not registered by becoming the default";
}

TEST_F(StringEncoding, TheStatusIsTheFirstProblemAndTheTextWhatCouldBeConverted) {
    int16_t status = -1;
    // UTF-8 stops after a bad sequence; the string layer goes on after it. A byte that cannot begin a
    // sequence is replaced like any other (UTF-8 gives a bound, so its length query, which refuses such
    // a byte, is not asked).
    Encoder* utf8 = Encoder::get(u"UTF-8");
    EXPECT_EQ(decoded("caf\xC3(ok", utf8, &status), u"caf\uFFFDok");
    EXPECT_EQ(status, ErrConversion);
    EXPECT_EQ(decoded("ab\xE2\x82", utf8, &status), u"ab");
    EXPECT_EQ(status, ErrPartialMultibyte);
    EXPECT_EQ(decoded("ab\x80", utf8, &status), u"ab\uFFFD");
    EXPECT_EQ(status, ErrConversion);
    EXPECT_EQ(encoded(String(unitsOf({'a', 0xDC00, 'b'})), utf8, &status), "a");
    EXPECT_EQ(status, ErrConversion);

    Recorder refuser(true);
    EXPECT_EQ(decoded("abc", &refuser, &status).length(), 0);
    EXPECT_EQ(status, ErrConversion);
    EXPECT_EQ(encoded(u"abc", &refuser, &status), "");
    EXPECT_EQ(status, ErrConversion);
    EXPECT_EQ(refuser.log, "3/2048 3/2048 ") << "no progress ends the conversion";

    // A UTF-8 length query counts each four-byte sequence as one unit: the one call stops short
    // and the rest follows in pieces.
    String emoji;
    for (int i = 0; i < 3000; ++i)
        emoji += u"\U0001F600";
    EXPECT_EQ(decoded(encoded(emoji, utf8), utf8, &status), emoji);
    EXPECT_EQ(status, 0);

    // Encoded where the last result was: a pair that does not fit the 7 bytes left over waits for
    // the room made for the rest.
    encoded(u"0123456", utf8);
    EXPECT_EQ(encoded(u"abcd\U0001F600e", utf8, &status), std::string("abcd\xF0\x9F\x98\x80") + "e");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(encoded(u"\u00E9", utf8), "\xC3\xA9");
}

TEST_F(StringEncoding, WithoutALengthTheTextGoesInPiecesOf2048) {
    Recorder recorder;
    std::string bytes(5000, 'x');
    bytes[4999] = '\xE9';
    String text = decoded(bytes, &recorder);
    EXPECT_EQ(text.length(), 5000);
    EXPECT_EQ(text.wstr()[4999], 0xE9);
    EXPECT_EQ(encoded(text, &recorder), bytes);
    EXPECT_EQ(recorder.log, "5000/2048 2952/2048+ 904/2048+ 5000/2048 2952/2048+ 904/2048+ ");
    EXPECT_EQ(EncodingScratch::capacity(), 5001u) << "grown with the total, exactly";
}

// An encoder that names its minimum is first tried in the buffer the last encode left; the length
// is asked only for what did not fit, and the buffer ends up as the growth rule leaves it.
TEST_F(StringEncoding, WithAMinimumTheLastBufferIsTriedFirst) {
    struct Measured : Recorder {
        // Half of what it writes: a true minimum, though not a tight one.
        int32_t getEncodedMinimum(int32_t len) const override { return len / 2; }
        int16_t getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const override {
            log += std::to_string(len) + "? ";
            out = len;
            return ErrNone;
        }
    } measured;
    auto run = [&](int32_t n, char fill) {
        measured.log.clear();
        String text;
        text.setup(static_cast<unsigned short>(fill), n);
        EXPECT_EQ(encoded(text, &measured), std::string(static_cast<size_t>(n), fill)) << n;
        return measured.log;
    };
    EXPECT_EQ(run(5000, 'a'), "5000? 5000/5000 ") << "no buffer yet: the length first";
    EXPECT_EQ(run(3000, 'b'), "3000/5000 ") << "room enough: one pass, no length";
    EXPECT_EQ(EncodingScratch::capacity(), 5001u);
    EXPECT_EQ(run(6000, 'c'), "6000/5000 1000? 1000/1000+ ") << "what did not fit goes on after it";
    EXPECT_EQ(EncodingScratch::capacity(), 6001u);
    EXPECT_EQ(run(20000, 'd'), "20000? 20000/20000 ") << "a buffer below the minimum is not tried";
    EXPECT_EQ(run(17000, 'e'), "17000/20000 ");
    EXPECT_EQ(EncodingScratch::capacity(), 17001u) << "a large buffer is still cut to the need";
    EXPECT_EQ(run(0, 'f'), "");
    EXPECT_EQ(EncodingScratch::capacity(), 1u);
    // Cutting a large buffer to the need can fail like any growth.
    run(20000, 'g');
    expectFailedGrowthFreesTheBuffer(String(u"small"), measured);
}

TEST_F(StringEncoding, TheScratchBufferGrowsToExactlyTheNeedAndDropsLargeOnes) {
    String text;
    auto capacityAfter = [&](int32_t n) {
        text.setup('x', n);
        text.encode(&Encoder::getBinary());
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
    EXPECT_EQ(EncodingScratch::data(), data) << "an exact fit is kept, large or not";
    EXPECT_EQ(capacityAfter(3), 4u) << "...unless it holds more than 16384 bytes";

    // Growing copies the old contents over.
    std::memcpy(EncodingScratch::reserve(3), "xyz", 3);
    EXPECT_EQ(std::string(EncodingScratch::reserve(100), 3), "xyz");
    EXPECT_EQ(EncodingScratch::capacity(), 101u);

    // Dropping a large buffer for a smaller one, and growing a small one, can fail.
    capacityAfter(20000);
    text.setup('y', 5);
    expectFailedGrowthFreesTheBuffer(text, Encoder::getBinary());
    capacityAfter(3);
    text.setup('y', 100);
    expectFailedGrowthFreesTheBuffer(text, Encoder::getBinary());
}

TEST_F(StringEncoding, EveryAllocationOfTheConversionsMayFail) {
    Recorder recorder;
    EXPECT_GT(sweepAllocations("encode and decode",
                               [&] {
                                   struct Release {
                                       ~Release() { EncodingScratch::release(); }
                                   } release;
                                   String pieces(std::string(4100, 'b').c_str(), &recorder);
                                   pieces.encode(&recorder);
                                   String uri(u"abc \u00E9\u20AC \u0416\u4E2D \U0001F600 end");
                                   uri.encodeURI(u"/");
                                   uri.decodeURI();
                               }),
              10);
}

TEST_F(StringEncoding, EncodeURIEscapesEveryUTF8ByteOutsideLettersDigitsAndTheKeepSet) {
    String all(u"Az09-_.!~*'();/?:@&=+$,# /\u00E9%\"<>\\^`{|}");
    EXPECT_TRUE(all.encodeURI(u"-_.!~*'();/?:@&=+$,#"));
    EXPECT_EQ(all, u"Az09-_.!~*'();/?:@&=+$,#%20/%C3%A9%25%22%3C%3E%5C%5E%60%7B%7C%7D");
    // keep is compared as units: U+00C3 keeps the byte C3. A 0 byte is always escaped.
    String accent(unitsOf({0xE9, '-', 0}));
    EXPECT_TRUE(accent.encodeURI(u"\u00C3"));
    EXPECT_EQ(accent, u"\u00C3%A9%2D%00");
    // No UTF-8 form: false and the text as it was.
    String broken(unitsOf({'a', 0xD800}));
    EXPECT_FALSE(broken.encodeURI(u"/"));
    EXPECT_EQ(broken, unitsOf({'a', 0xD800}));
}

TEST_F(StringEncoding, DecodeURIReadsRunsOfEscapesAsUTF8) {
    const struct {
        const char16_t* uri;
        const char16_t* text; // null: refused, the text left as it was
    } cases[] = {
        {u"%C3%A9%41", u"\u00E9A"}, {u"%E9x", u"?x"},   {u"%e9%E9", u"?"}, // one rejected run, one "?"
        {u"%C3%A9%E9%41", u"?"},    {u"a%2fb", u"a/b"}, {u"%4", nullptr},
        {u"%G1", nullptr},          {u"abc%", nullptr}, {u"%C3%A", nullptr},
    };
    for (const auto& c : cases) {
        String text(c.uri);
        EXPECT_EQ(text.decodeURI(), c.text != nullptr) << String(c.uri);
        EXPECT_EQ(text, c.text ? c.text : c.uri);
    }
}

} // namespace
