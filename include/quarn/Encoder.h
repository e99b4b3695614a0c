// Encoder: the converter between the library's UTF-16 text and one external byte encoding. Every
// conversion between bytes and text goes through one: strings, values and text files take them by
// name from a process-wide registry that owns them. Hosts may derive their own.
//
// The conversions take counts in and out: srcLen and dstLen enter as the units available (bytes on
// the byte side, 16-bit units on the text side) and leave as the units consumed and written. A
// conversion stops when either side runs out; a character that does not fit is not consumed. The
// result is 0 or one of ErrConversion (a replacement was written), ErrPartialMultibyte (the source
// ends inside a character) and ErrCannotConvert; what was written stays written.
#ifndef QUARN_ENCODER_H
#define QUARN_ENCODER_H

#include <quarn/ErrorCodes.h>
#include <quarn/Root.h>

namespace Quarn {

class String;

class QUARN_API Encoder : public Root {
public:
    ~Encoder() override;

    // The alias list: names separated by "," without blanks, the canonical name first.
    virtual const unsigned short* getNames() const = 0;

    // Asked by the registry for a name nobody has registered; returns an encoder that serves it, or
    // null. The registry makes no difference between a const and a mutable encoder here.
    virtual Encoder* find(const String& name) const;

    // The older length interface: units or bytes the source converts to, -1 when unknown.
    virtual int32_t getDecodedLength(const char* src, int32_t len);
    virtual int32_t getEncodedLength(const unsigned short* src, int32_t len);

    // Converts with toUnicode/toMBCS and keeps the counts and the result for getSrcCount,
    // getDstCount and getError; also returns the result. continued is false on the first call over
    // a text and true when a later call goes on with the same text.
    virtual int16_t decode(const char* src, int32_t srcLen, unsigned short* dst, int32_t dstLen,
                           bool continued);
    virtual int16_t encode(const unsigned short* src, int32_t srcLen, char* dst, int32_t dstLen,
                           bool continued);

    // Length queries: out receives the units (or bytes) the whole source converts to, or -1 when
    // that can't be told without converting (the caller then converts in chunks).
    virtual int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const;
    virtual int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const;

    // The most units len bytes can ever decode to, or -1 when the encoder cannot promise a bound.
    // String::decode converts in one call into that much room instead of asking getUnicodeLength
    // first (the room it does not use is never touched and is given back). A library addition after
    // the slots above; the base promises nothing.
    virtual int32_t getDecodedLimit(int32_t len) const;
    // The fewest bytes len units can encode to, or -1 when the encoder promises nothing; an encoder
    // that gives a figure also promises that a text may be encoded in any number of calls, each going
    // on where the last one stopped. String::encode then converts straight into the buffer the last
    // encode left when that is at least this large, and asks for the exact length only if the text
    // turns out not to fit. A library addition, like getDecodedLimit.
    virtual int32_t getEncodedMinimum(int32_t len) const;

    // The conversions proper (see the contract above). An encoder that does not implement them
    // returns ErrInternal.
    virtual int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                              bool continued) const;
    virtual int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                           bool continued) const;

    // What the last decode or encode did.
    int32_t getSrcCount() const { return srcCount; }
    int32_t getDstCount() const { return dstCount; }
    int16_t getError() const { return error; }
    // Fixed bytes per character, 0 when the width varies; the file reader reads characters by it.
    int32_t getMapping() const { return mapping; }
    // Whether the length queries and toUnicode/toMBCS are implemented.
    bool hasNewAPI() const { return newAPI; }

    // The registry: every encoder it holds, each alias name bound to one of them, and four
    // designated encoders. Names are compared in upper case with "_" read as "-", so iso_8859_1 is
    // ISO-8859-1. The registry owns what it holds: an encoder is destroyed when the library ends or
    // when its last name is bound to another encoder, which then also takes over its designations.
    //
    // The designated encoders: ASCII, BINARY, the system's legacy encoding (ASCII when the platform
    // names none that can be served) and the default, used wherever no encoder is passed. While the
    // library is not running (before InitTerm::init, after InitTerm::exit, or when the registry
    // could not be made) the getters return unregistered built-in ASCII and BINARY encoders, and
    // the registry functions below find nothing and change nothing.
    static Encoder& getAscii();
    static Encoder& getBinary();
    static Encoder& getSystem();
    static Encoder& getDefault();
    // Makes encoder the default without registering it: an encoder that is not registered stays the
    // caller's, who must keep it alive while it is the default.
    static void setDefault(Encoder& encoder);
    // Registers encoder (the registry takes it over) under every name of getNames.
    static void add(Encoder& encoder);
    // Binds alias to encoder, registering the encoder first when it is new to the registry. False,
    // changing nothing, for a null or empty alias.
    static bool addAlias(Encoder& encoder, const unsigned short* alias);
    static bool addAlias(Encoder& encoder, const char16_t* alias) { return addAlias(encoder, u16(alias)); }
    // Binds alias to the encoder get(existingName) finds; false when it finds none.
    static bool addAlias(const unsigned short* existingName, const unsigned short* alias);
    static bool addAlias(const char16_t* existingName, const char16_t* alias) {
        return addAlias(u16(existingName), u16(alias));
    }
    // The encoder of a name: a registered alias; else a platform code-page encoder made for it
    // ("CP1251", "windows-1250", "KOI-8R", ...) and registered; else one that a registered encoder's
    // find offers. An empty (or null) name gives the default encoder; an unknown one null.
    static Encoder* get(const unsigned short* name);
    static Encoder* get(const char16_t* name) { return get(u16(name)); }

protected:
    // A plain encoder is one byte per character and implements only the older interface.
    explicit Encoder(int32_t mapping = 1, bool newAPI = false);
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

private:
    static const unsigned short* u16(const char16_t* text) {
        return reinterpret_cast<const unsigned short*>(text);
    }

    int32_t srcCount;
    int32_t dstCount;
    int32_t mapping;
    int16_t error;
    bool newAPI;
};

} // namespace Quarn

#endif
