// The built-in encoders that map one byte to one UTF-16 unit: ASCII, BINARY, Windows-1252,
// ISO-8859-1 and Mac OS Roman. Unmappable characters are replaced (U+FFFD when decoding, "?" when
// encoding) and reported; no conversion here stops early.
#ifndef QUARN_ENCODERS_SINGLEBYTEENCODERS_H
#define QUARN_ENCODERS_SINGLEBYTEENCODERS_H

#include <quarn/Encoder.h>

namespace Quarn {

// Bytes 0x80 and above, and units U+0080 and above, are errors (ErrConversion).
class AsciiEncoder : public Encoder {
public:
    AsciiEncoder() : Encoder(1, true) {}
    const unsigned short* getNames() const override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;
};

// Raw bytes carried through text: a byte is the unit of the same value, and encoding keeps the low
// byte of each unit, so a binary file read into a string writes back byte for byte. Never an error.
class BinaryEncoder : public Encoder {
public:
    BinaryEncoder() : Encoder(1, true) {}
    const unsigned short* getNames() const override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;
};

// Windows-1252. The five bytes it leaves undefined decode as U+FFFD without an error, and U+0080 to
// U+009F encode as the bytes of the same value.
class CP1252Encoder : public Encoder {
public:
    CP1252Encoder() : Encoder(1, true), strict(false) {}
    const unsigned short* getNames() const override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;

protected:
    explicit CP1252Encoder(bool strict) : Encoder(1, true), strict(strict) {}

private:
    // Strict refuses the bytes 0x80..0x9F both ways: decoding them reports ErrCannotConvert,
    // encoding into them ErrConversion. The two codes differ on purpose.
    bool strict;
};

// Latin-1: Windows-1252 made strict, so that 0x80..0x9F are neither read nor written.
class ISO88591Encoder : public CP1252Encoder {
public:
    ISO88591Encoder() : CP1252Encoder(true) {}
    const unsigned short* getNames() const override;
};

// Mac OS Roman; units it has no byte for encode as "?" (ErrConversion), decoding never fails.
class MacRomanEncoder : public Encoder {
public:
    MacRomanEncoder() : Encoder(1, true) {}
    const unsigned short* getNames() const override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;
};

} // namespace Quarn

#endif
