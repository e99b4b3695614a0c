// The built-in encoders of the Unicode byte forms: UCS-2 and UCS-4 in three byte orders each, and
// UTF-8. None writes or reads a byte-order mark (the file layer handles marks), so the continuation
// flag of the conversions is ignored. The unmarked UCS-2 ("UTF-16") and UCS-4 names are little-endian.
#ifndef QUARN_ENCODERS_UNICODEENCODERS_H
#define QUARN_ENCODERS_UNICODEENCODERS_H

#include <quarn/Encoder.h>

namespace Quarn {

// Two bytes per unit; surrogates pass through both ways untouched.
class UCS2Encoder : public Encoder {
public:
    UCS2Encoder() : UCS2Encoder(true) {}
    const unsigned short* getNames() const override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;

protected:
    explicit UCS2Encoder(bool littleEndian) : Encoder(2, true), littleEndian(littleEndian) {}

private:
    bool littleEndian;
};

class UCS2beEncoder : public UCS2Encoder {
public:
    UCS2beEncoder() : UCS2Encoder(false) {}
    const unsigned short* getNames() const override;
};

class UCS2leEncoder : public UCS2Encoder {
public:
    UCS2leEncoder() : UCS2Encoder(true) {}
    const unsigned short* getNames() const override;
};

// Four bytes per character. Encoding joins surrogate pairs; decoding keeps only the low 16 bits of
// each value and never makes a pair, so characters above U+FFFF come back truncated.
class UCS4Encoder : public Encoder {
public:
    UCS4Encoder() : UCS4Encoder(true) {}
    const unsigned short* getNames() const override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;

protected:
    explicit UCS4Encoder(bool littleEndian) : Encoder(4, true), littleEndian(littleEndian) {}

private:
    bool littleEndian;
};

class UCS4beEncoder : public UCS4Encoder {
public:
    UCS4beEncoder() : UCS4Encoder(false) {}
    const unsigned short* getNames() const override;
};

class UCS4leEncoder : public UCS4Encoder {
public:
    UCS4leEncoder() : UCS4Encoder(true) {}
    const unsigned short* getNames() const override;
};

// UTF-8 of variable width (mapping 0). Decoding writes U+FFFD for a bad sequence and stops after it;
// encoding stops at the first bad unit and refuses characters from U+40000 up.
class UTF8Encoder : public Encoder {
public:
    UTF8Encoder() : Encoder(0, true) {}
    const unsigned short* getNames() const override;
    // Every sequence of n bytes decodes to at most n units (a four-byte one to two).
    int32_t getDecodedLimit(int32_t len) const override { return len < 0 ? 0 : len; }
    // Every unit that converts gives at least one byte; the conversion keeps no state between calls.
    int32_t getEncodedMinimum(int32_t len) const override { return len < 0 ? 0 : len; }
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;
};

} // namespace Quarn

#endif
