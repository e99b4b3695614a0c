#include "encoders/EncoderTesting.h"
#include "encoders/SingleByteEncoders.h"
#include "encoders/UnicodeEncoders.h"
#include "support/TestAllocator.h"

#include <quarn/Encoder.h>

#include <gtest/gtest.h>

#include <memory>

using namespace Quarn;
using namespace quarn_test;

namespace {

// A host encoder that implements nothing but its names: everything else is the base behaviour.
struct NamesOnly : Encoder {
    const unsigned short* getNames() const override {
        return reinterpret_cast<const unsigned short*>(u"X-NONE");
    }
};

// One that implements only the conversions, to see what decode and encode do with them.
struct Upper : Encoder {
    Upper() : Encoder(1, true) {}
    const unsigned short* getNames() const override {
        return reinterpret_cast<const unsigned short*>(u"X-UP");
    }
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override {
        lastContinued = continued;
        int32_t n = srcLen < dstLen ? srcLen : dstLen;
        for (int32_t i = 0; i < n; ++i)
            dst[i] = static_cast<unsigned short>(src[i] - 32);
        srcLen = dstLen = n;
        return n == 2 ? ErrConversion : ErrNone;
    }
    mutable bool lastContinued = false;
};

TEST(EncoderBase, APlainEncoderIsOneBytePerCharacterWithoutTheNewInterface) {
    NamesOnly encoder;
    EXPECT_EQ(encoder.getMapping(), 1);
    EXPECT_FALSE(encoder.hasNewAPI());
    EXPECT_EQ(encoder.getSrcCount(), 0);
    EXPECT_EQ(encoder.getDstCount(), 0);
    EXPECT_EQ(encoder.getError(), 0);

    int32_t out = 99;
    EXPECT_EQ(encoder.getUnicodeLength("abc", 3, out), 0);
    EXPECT_EQ(out, -1);
    out = 99;
    EXPECT_EQ(encoder.getMBCSLength(reinterpret_cast<const unsigned short*>(u"abc"), 3, out), 0);
    EXPECT_EQ(out, -1);
    EXPECT_EQ(encoder.getDecodedLength("abc", 3), -1);
    EXPECT_EQ(encoder.getEncodedLength(reinterpret_cast<const unsigned short*>(u"abc"), 3), -1);
}

TEST(EncoderBase, ConversionsThatAreNotImplementedAreAnInternalErrorAndTouchNothing) {
    NamesOnly encoder;
    unsigned short units[4] = {1, 2, 3, 4};
    char bytes[4] = {5, 6, 7, 8};
    int32_t srcLen = 3, dstLen = 4;
    EXPECT_EQ(encoder.toUnicode("abc", srcLen, units, dstLen, false), ErrInternal);
    EXPECT_EQ(srcLen, 3);
    EXPECT_EQ(dstLen, 4);
    EXPECT_EQ(encoder.toMBCS(units, srcLen, bytes, dstLen, false), -33);
    EXPECT_EQ(units[0], 1);
    EXPECT_EQ(bytes[0], 5);

    // decode and encode keep the counts they were given, since nothing changed them.
    EXPECT_EQ(encoder.decode("abc", 3, units, 4, false), ErrInternal);
    EXPECT_EQ(encoder.getError(), ErrInternal);
    EXPECT_EQ(encoder.getSrcCount(), 3);
    EXPECT_EQ(encoder.getDstCount(), 4);
    EXPECT_EQ(encoder.encode(units, 2, bytes, 1, true), ErrInternal);
    EXPECT_EQ(encoder.getSrcCount(), 2);
    EXPECT_EQ(encoder.getDstCount(), 1);
}

TEST(EncoderBase, DecodeAndEncodeRecordWhatTheLastConversionDid) {
    Upper upper;
    unsigned short units[8];
    EXPECT_EQ(upper.decode("abcdef", 6, units, 4, true), ErrNone);
    EXPECT_TRUE(upper.lastContinued);
    EXPECT_EQ(upper.getSrcCount(), 4);
    EXPECT_EQ(upper.getDstCount(), 4);
    EXPECT_EQ(units[3], 'D');
    EXPECT_EQ(upper.decode("xy", 2, units, 8, false), ErrConversion);
    EXPECT_FALSE(upper.lastContinued);
    EXPECT_EQ(upper.getError(), ErrConversion);
    EXPECT_EQ(upper.getSrcCount(), 2);
    EXPECT_EQ(upper.getDstCount(), 2);
    // The next call replaces the record, success included.
    EXPECT_EQ(upper.decode("x", 1, units, 8, false), ErrNone);
    EXPECT_EQ(upper.getError(), ErrNone);

    AsciiEncoder ascii;
    char bytes[8];
    EXPECT_EQ(ascii.encode(reinterpret_cast<const unsigned short*>(u"h\u00e9llo"), 5, bytes, 3, false),
              ErrConversion);
    EXPECT_EQ(ascii.getSrcCount(), 3);
    EXPECT_EQ(ascii.getDstCount(), 3);
    EXPECT_EQ(ascii.getError(), ErrConversion);
    EXPECT_EQ(std::string(bytes, 3), "h?l");
}

struct Expected {
    const char16_t* names;
    int32_t mapping;
};

TEST(BuiltInEncoders, NamesWidthsAndInterface) {
    std::unique_ptr<Encoder> encoders[] = {
        std::unique_ptr<Encoder>(new AsciiEncoder),  std::unique_ptr<Encoder>(new BinaryEncoder),
        std::unique_ptr<Encoder>(new CP1252Encoder), std::unique_ptr<Encoder>(new ISO88591Encoder),
        std::unique_ptr<Encoder>(new UCS2Encoder),   std::unique_ptr<Encoder>(new UCS2beEncoder),
        std::unique_ptr<Encoder>(new UCS2leEncoder), std::unique_ptr<Encoder>(new UCS4Encoder),
        std::unique_ptr<Encoder>(new UCS4beEncoder), std::unique_ptr<Encoder>(new UCS4leEncoder),
        std::unique_ptr<Encoder>(new UTF8Encoder),   std::unique_ptr<Encoder>(new MacRomanEncoder),
    };
    const Expected expected[] = {
        {u"US-ASCII,ASCII,ISO646-US,ISO_646.IRV:1991,ISO-IR-6,ANSI_X3.4-1968,CP367,IBM367,US,ISO646.1991-IRV",
         1},
        {u"BINARY", 1},
        {u"CP1252,WINDOWS-1252,MS-ANSI", 1},
        {u"ISO-8859-1,ISO-8859-1,ISO-8859-1:1987,ISO-IR-100,LATIN1", 1},
        {u"UCS2,UCS-2,ISO-10646-UCS-2,UTF16,UTF-16,ISO-10646-UTF-16", 2},
        {u"UCS2BE,UCS-2BE,ISO-10646-UCS-2BE,UTF16BE,UTF-16BE,ISO-10646-UTF16BE", 2},
        {u"UCS2LE,UCS-2LE,ISO-10646-UCS-2LE,UTF16LE,UTF-16LE,ISO-10646-UTF16LE", 2},
        {u"UCS4,UCS-4,ISO-10646-UCS-4", 4},
        {u"UCS4BE,UCS-4BE,ISO-10646-UCS-4BE", 4},
        {u"UCS4LE,UCS-4LE,ISO-10646-UCS-4LE", 4},
        {u"UTF-8,UTF8,UNICODE-1-1-UTF-8,UNICODE-2-0-UTF-8,X-UNICODE-2-0-UTF-8", 0},
        {u"MACINTOSH,X-MAC-ROMAN", 1},
    };
    for (size_t i = 0; i < sizeof expected / sizeof expected[0]; ++i) {
        const Encoder& encoder = *encoders[i];
        std::u16string names(reinterpret_cast<const char16_t*>(encoder.getNames()));
        EXPECT_EQ(names, expected[i].names);
        EXPECT_EQ(encoder.getMapping(), expected[i].mapping) << i;
        EXPECT_TRUE(encoder.hasNewAPI()) << i;
        // The older interface is left at "unknown"; callers use the length queries.
        EXPECT_EQ(encoders[i]->getDecodedLength("ab", 2), -1) << i;
        EXPECT_EQ(encoders[i]->getEncodedLength(reinterpret_cast<const unsigned short*>(u"ab"), 2), -1) << i;
    }
}

TEST(BuiltInEncoders, LiveInTheLibraryHeap) {
    int32_t before = liveBlocks();
    Encoder* encoder = new UTF8Encoder;
    EXPECT_EQ(liveBlocks(), before + 1);
    delete encoder;
    EXPECT_EQ(liveBlocks(), before);
}

} // namespace
