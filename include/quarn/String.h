// String: the library's text type. A sequence of UTF-16 code units with an explicit length, always
// followed by a 0 unit, shared between copies by reference counting and copied only when a holder
// writes to it. Every name, message, path and script value passes through it.
//
// Positions are unit indexes and "not found" is -1. Functions that cannot fail clamp or ignore bad
// positions instead of reporting them. Everywhere a const unsigned short* is accepted, a u"..."
// literal (const char16_t*) is accepted too.
#ifndef QUARN_STRING_H
#define QUARN_STRING_H

#include <quarn/Heap.h>

#include <cstdarg>

namespace Quarn {

class Array;
class Encoder;

// The shared text buffer: a 12-byte header followed by the units. limit is the capacity minus the
// unit reserved for the terminator; refCount counts the Strings pointing here.
struct StringData {
    int32_t length;
    int32_t limit;
    int32_t refCount;
    unsigned short units[1];
};

// Line ends for convertLF: the platform's own (LF here, CR LF on Windows), CR LF, CR or LF.
enum CRLFEncoding { LineEndPlatform = 0, LineEndCRLF = 1, LineEndCR = 2, LineEndLF = 3 };

class QUARN_API String {
public:
    String() : data(&emptyBuffer) { ++data->refCount; }
    String(const String& other) : data(other.data) { ++data->refCount; }
    String(String&& other) noexcept : data(other.data) {
        other.data = &emptyBuffer;
        ++emptyBuffer.refCount;
    }
    // Null text or len 0: empty. len < 0: up to the terminator. Otherwise len units.
    String(const unsigned short* text, int32_t len = -1);
    String(const char16_t* text, int32_t len = -1) : String(u16(text), len) {}
    // Bytes decoded with enc (the default encoder when null), as decode does.
    explicit String(const char* bytes, Encoder* enc = nullptr);
    ~String() {
        if (--data->refCount == 0) freeData(data);
    }

    // The library's shared empty string (a heap object made when the library starts).
    static const String& emptyString();

    String& operator=(const String& other);
    String& operator=(String&& other) noexcept;
    String& operator=(const unsigned short* text);
    String& operator=(const char16_t* text) { return *this = u16(text); }
    String& operator=(unsigned short c);

    int32_t length() const { return data->length; }
    const unsigned short* wstr() const { return data->units; }
    operator const unsigned short*() const { return data->units; }

    // Stores c at pos when 0 <= pos < length; otherwise nothing.
    void set(int32_t pos, unsigned short c);
    // count units of c (count <= 0: empty).
    void setup(unsigned short c, int32_t count);
    // Length 0, keeping the buffer and its capacity.
    void clear();
    // Back to the shared empty buffer.
    void erase();
    // Removes count units at pos; pos < 0 removes nothing, count < 0 means "to the end".
    void erase(int32_t pos, int32_t count);

    String& append(const String& text) { return *this += text; }
    String& append(const unsigned short* text) { return *this += text; }
    String& append(const char16_t* text) { return *this += u16(text); }
    String& append(unsigned short c) { return *this += c; }
    String& operator+=(const String& text);
    String& operator+=(const unsigned short* text);
    String& operator+=(const char16_t* text) { return *this += u16(text); }
    String& operator+=(unsigned short c) {
        // The common case inline: a private buffer with room to spare.
        StringData* d = data;
        if (d->refCount == 1 && d->length < d->limit) {
            d->units[d->length++] = c;
            d->units[d->length] = 0;
            return *this;
        }
        add(c);
        return *this;
    }
    String operator+(const String& text) const;
    String operator+(const unsigned short* text) const;
    String operator+(const char16_t* text) const { return *this + u16(text); }
    String operator+(unsigned short c) const;

    // Equality against a String: same buffer, or same length and units (embedded 0 units count).
    bool operator==(const String& other) const;
    bool operator!=(const String& other) const { return !(*this == other); }
    bool operator<(const String& other) const { return cmp(other) < 0; }
    bool operator>(const String& other) const { return cmp(other) > 0; }
    bool operator<=(const String& other) const { return cmp(other) <= 0; }
    bool operator>=(const String& other) const { return cmp(other) >= 0; }
    bool operator==(const unsigned short* text) const { return cmp(text) == 0; }
    bool operator!=(const unsigned short* text) const { return cmp(text) != 0; }
    bool operator<(const unsigned short* text) const { return cmp(text) < 0; }
    bool operator>(const unsigned short* text) const { return cmp(text) > 0; }
    bool operator<=(const unsigned short* text) const { return cmp(text) <= 0; }
    bool operator>=(const unsigned short* text) const { return cmp(text) >= 0; }
    bool operator==(const char16_t* text) const { return cmp(u16(text)) == 0; }
    bool operator!=(const char16_t* text) const { return cmp(u16(text)) != 0; }
    bool operator<(const char16_t* text) const { return cmp(u16(text)) < 0; }
    bool operator>(const char16_t* text) const { return cmp(u16(text)) > 0; }
    bool operator<=(const char16_t* text) const { return cmp(u16(text)) <= 0; }
    bool operator>=(const char16_t* text) const { return cmp(u16(text)) >= 0; }

    // Order by code-unit value up to the first 0 unit; only the sign is meaningful.
    int cmp(const String& other) const;
    int cmp(const unsigned short* text) const;
    int cmp(const char16_t* text) const { return cmp(u16(text)); }
    int ncmp(const String& other, int32_t n) const { return ncmp(other.wstr(), n); }
    int ncmp(const unsigned short* text, int32_t n) const;
    int ncmp(const char16_t* text, int32_t n) const { return ncmp(u16(text), n); }
    // Caseless, through UnicodeUtils::towupper.
    int ucmp(const String& other) const { return ucmp(other.wstr()); }
    int ucmp(const unsigned short* text) const;
    int ucmp(const char16_t* text) const { return ucmp(u16(text)); }
    int nucmp(const String& other, int32_t n) const { return nucmp(other.wstr(), n); }
    int nucmp(const unsigned short* text, int32_t n) const;
    int nucmp(const char16_t* text, int32_t n) const { return nucmp(u16(text), n); }

    // Searches. A reverse search looks from start down to index 0.
    int32_t find(unsigned short c, int32_t start = 0, bool reverse = false) const;
    int32_t find(const String& text, int32_t start = 0, bool reverse = false) const;
    int32_t find(const unsigned short* text, int32_t start = 0, bool reverse = false) const;
    int32_t find(const char16_t* text, int32_t start = 0, bool reverse = false) const {
        return find(u16(text), start, reverse);
    }
    // First position at or after start holding a unit of set (whose terminator counts as a member).
    int32_t findAny(const String& set, int32_t start = 0) const { return findAny(set.wstr(), start); }
    int32_t findAny(const unsigned short* set, int32_t start = 0) const;
    int32_t findAny(const char16_t* set, int32_t start = 0) const { return findAny(u16(set), start); }

    // Inserts before pos (pos < 0: at the front; pos >= length: appended).
    void insert(const String& text, int32_t pos);
    void insert(const unsigned short* text, int32_t pos);
    void insert(const char16_t* text, int32_t pos) { insert(u16(text), pos); }
    void insert(unsigned short c, int32_t pos);

    // Replaces the first occurrence at or after start; returns its position or -1.
    int32_t replace(const String& what, const String& with, int32_t start = 0);
    int32_t replace(const String& what, const unsigned short* with, int32_t start = 0);
    int32_t replace(const unsigned short* what, const String& with, int32_t start = 0);
    int32_t replace(const unsigned short* what, const unsigned short* with, int32_t start = 0);
    int32_t replace(const char16_t* what, const char16_t* with, int32_t start = 0) {
        return replace(u16(what), u16(with), start);
    }
    int32_t replace(unsigned short a, unsigned short b, int32_t start = 0);
    // Replaces every occurrence from start on, never searching inserted text again; returns the count.
    int32_t replaceAll(const String& what, const String& with, int32_t start = 0);
    int32_t replaceAll(const String& what, const unsigned short* with, int32_t start = 0);
    int32_t replaceAll(const unsigned short* what, const String& with, int32_t start = 0);
    int32_t replaceAll(const unsigned short* what, const unsigned short* with, int32_t start = 0);
    int32_t replaceAll(const char16_t* what, const char16_t* with, int32_t start = 0) {
        return replaceAll(u16(what), u16(with), start);
    }
    int32_t replaceAll(unsigned short a, unsigned short b, int32_t start = 0);

    // count < 0, or running past the end: up to the end. start >= length: empty.
    String substr(int32_t start, int32_t count = -1) const;

    // Takes the text before the first sep out of this string (sep consumed), stripped; without a
    // sep, the whole text, leaving this string empty.
    String split(unsigned short sep);
    String split(const String& sep);
    String split(const unsigned short* sep);
    String split(const char16_t* sep) { return split(u16(sep)); }

    // Removes units of value 32 or less at both ends. The leading part is trimmed in place even in a
    // shared buffer: strip only strings whose buffer you own.
    void strip();
    // Case mapping through UnicodeUtils; true when any unit changed.
    bool toLower();
    bool toUpper();
    // Lower case, then upper case at the start and after each of " ,;.".
    bool toMixed();
    // Rewrites every line end (CR LF, lone CR, lone LF) as kind; returns the number of line ends.
    int32_t convertLF(CRLFEncoding kind);

    // Bytes. encode converts the text with enc (the default encoder when null) into one scratch
    // buffer that the whole process shares: out points at the bytes, which a 0 byte follows, and
    // stays valid until the next encode of any String. decode replaces the text by the bytes
    // (len < 0: up to the first 0 byte) decoded with enc. Both return the encoder's status: 0, or
    // the code of the first conversion problem met (the result then holds what could be converted;
    // nothing when the encoder refused the whole source in its length query).
    int16_t encode(const char*& out, int32_t& len, Encoder* enc = nullptr) const;
    const char* encode(Encoder* enc = nullptr) const;
    // The byte count of the last encode of any String.
    static int32_t getEncodedLength();
    int16_t decode(const char* bytes, int32_t len = -1, Encoder* enc = nullptr);

    // Percent encoding of the UTF-8 form: letters and digits stay, bytes that are units of keep stay
    // (keep should hold only ASCII), every other byte becomes "%XX". False, leaving the text as it
    // was, when the text has no UTF-8 form.
    bool encodeURI(const unsigned short* keep);
    bool encodeURI(const char16_t* keep) { return encodeURI(u16(keep)); }
    // The reverse: each run of "%XX" bytes is read as UTF-8, a run that is not becoming one "?".
    // False, leaving the text as it was, for a "%" without two hexadecimal digits after it.
    bool decodeURI();

    // Formatting with the library's own directives; the text is cleared (capacity kept) first.
    void print(const unsigned short* format, ...);
    void print(const char16_t* format, ...);
    void vprint(const unsigned short* format, va_list args);
    // Reads one quoted literal with script escapes from the front into out, removing what it read.
    bool parse(String& out);

    // Replaces the text by the current Localizer's translation of it, with "%N" replaced by the N-th
    // argument (see Localizer::localize).
    void localize(int count, const unsigned short* const* args);
    void localize(const Array& args);

protected:
    // Makes the buffer private before a write.
    void unique();
    // Points at a new private buffer of n units (left unset) and releases the old one.
    void init(int32_t n);
    // Resizes to n units, keeping the first ones (see the capacity and shrink rules in String.cpp).
    void adjust(int32_t n);
    // Makes the buffer private with room for at least n units, keeping the text; for writers that fill
    // the room first and set the length afterwards with adjust().
    void reserve(int32_t n);
    void add(unsigned short c);
    void add(const unsigned short* text, int32_t len);

private:
    static const unsigned short* u16(const char16_t* text) {
        return reinterpret_cast<const unsigned short*>(text);
    }
    static void freeData(StringData* buffer);
    void release();
    bool aliases(const unsigned short* text) const;
    int32_t replaceAt(int32_t pos, int32_t whatLength, const unsigned short* with, int32_t withLength);
    int32_t replaceEvery(const unsigned short* what, int32_t whatLength, const unsigned short* with,
                         int32_t withLength, int32_t start);
    String splitAt(int32_t pos, int32_t sepLength);

    StringData* data;

    // Shared by every empty String; the library's own reference keeps it from ever being freed.
    static StringData emptyBuffer;

    friend struct StringAccess;
};

} // namespace Quarn

#endif
