#include "encoders/EncoderTesting.h"

#include <string>

using namespace Quarn;
using quarn_test::w;

namespace {

// "source count/destination count/error" of the last decode or encode.
std::string record(const Encoder& encoder) {
    return std::to_string(encoder.getSrcCount()) + "/" + std::to_string(encoder.getDstCount()) + "/" +
           std::to_string(encoder.getError());
}

// A host encoder that implements only its names and decoding (upper-casing; two units make "a
// conversion error"): everything else is the base behaviour.
struct Upper : Encoder {
    const unsigned short* getNames() const override { return w(u"X-UPPER"); }
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

TEST(EncoderBase, DefaultsAndWhatDecodeAndEncodeRecord) {
    Upper encoder;
    EXPECT_EQ(encoder.getMapping(), 1);
    EXPECT_FALSE(encoder.hasNewAPI());
    EXPECT_EQ(record(encoder), "0/0/0");
    int32_t unitsOut = 99, bytesOut = 99;
    EXPECT_EQ(encoder.getUnicodeLength("abc", 3, unitsOut), 0);
    EXPECT_EQ(encoder.getMBCSLength(w(u"abc"), 3, bytesOut), 0);
    EXPECT_EQ(unitsOut, -1);
    EXPECT_EQ(bytesOut, -1);
    EXPECT_EQ(encoder.getDecodedLength("abc", 3), -1);
    EXPECT_EQ(encoder.getEncodedLength(w(u"abc"), 3), -1);

    // Not implemented: an internal error, nothing written, and the counts stay as they were given.
    char bytes[4] = {5, 6, 7, 8};
    EXPECT_EQ(encoder.encode(w(u"abc"), 2, bytes, 1, true), ErrInternal);
    EXPECT_EQ(record(encoder), "2/1/-33");
    EXPECT_EQ(bytes[0], 5);

    unsigned short units[8];
    EXPECT_EQ(encoder.decode("abcdef", 6, units, 4, true), ErrNone);
    EXPECT_TRUE(encoder.lastContinued);
    EXPECT_EQ(record(encoder), "4/4/0");
    EXPECT_EQ(units[3], 'D');
    EXPECT_EQ(encoder.decode("xy", 2, units, 8, false), ErrConversion);
    EXPECT_FALSE(encoder.lastContinued);
    EXPECT_EQ(record(encoder), "2/2/37");
    encoder.decode("x", 1, units, 8, false);
    EXPECT_EQ(record(encoder), "1/1/0") << "success replaces the record too";
}

} // namespace
