// String and bytes: encode, decode, the byte constructor, percent encoding of URIs, and the scratch
// buffer that encode leaves its bytes in.
#include "text/StringEncoding.h"
#include "text/StringAccess.h"

#include <quarn/Encoder.h>
#include <quarn/Heap.h>
#include <quarn/String.h>

#include <cstring>
#include <new>
#include <utility>

namespace Quarn {
namespace {

char* scratchBytes = nullptr;
size_t scratchCapacity = 0;
int32_t scratchLength = 0;

char* newScratch(size_t size) {
    try {
        return static_cast<char*>(Heap::operator new[](size));
    } catch (...) {
        EncodingScratch::release();
        throw;
    }
}

// A buffer of exactly `need` bytes in place of the old one, holding its first `keep` bytes.
void remakeScratch(size_t need, int32_t keep) {
    char* fresh = newScratch(need);
    if (scratchBytes) {
        std::memcpy(fresh, scratchBytes, static_cast<size_t>(keep));
        Heap::operator delete[](scratchBytes);
    }
    scratchBytes = fresh;
    scratchCapacity = need;
}

// Decoding straight into a String's buffer, which grows by String's own rules.
class StringSink {
public:
    explicit StringSink(String& text) : text(text), used(0) {}
    // Room grows geometrically and the length is set only at the end, so a text decoded in many
    // pieces is not reallocated for each of them.
    unsigned short* reserve(int32_t n) {
        if (n > INT32_MAX - used) throw std::bad_alloc();
        if (used + n > StringAccess::capacity(text) - 1) {
            const int32_t doubled = used > INT32_MAX / 2 ? INT32_MAX : used * 2;
            StringAccess::reserve(text, used + n > doubled ? used + n : doubled);
        }
        return StringAccess::units(text) + used;
    }
    void commit(int32_t n) { used += n; }
    void finish() { StringAccess::adjust(text, used); }

private:
    String& text;
    int32_t used;
};

// Bytes held for decodeURI, freed through Heap whatever happens.
class PendingBytes {
public:
    PendingBytes() : bytes(nullptr), count(0), utf8(nullptr) {}
    ~PendingBytes() { Heap::operator delete[](bytes); }
    PendingBytes(const PendingBytes&) = delete;
    PendingBytes& operator=(const PendingBytes&) = delete;

    // Made at the first "%" with room for every escape that can follow.
    void add(char byte, int32_t unitsLeft) {
        if (!bytes) bytes = static_cast<char*>(Heap::operator new[](static_cast<size_t>(unitsLeft) / 3 + 1));
        bytes[count++] = byte;
    }
    // Appends the run as UTF-8, or a single "?" for a run that is not.
    void flushTo(String& out) {
        if (count == 0) return;
        if (!utf8) utf8 = Encoder::get(u"UTF8");
        String piece;
        if (utf8 && piece.decode(bytes, count, utf8) == ErrNone)
            out += piece;
        else
            out += static_cast<unsigned short>('?');
        count = 0;
    }

private:
    char* bytes;
    int32_t count;
    Encoder* utf8; // looked up at the first run
};

inline int hexValue(unsigned short c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

inline bool isAlphanumeric(unsigned char b) {
    return (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z');
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The scratch buffer

char* EncodingScratch::reserve(int32_t n) {
    if (n < 0) n = 0;
    const size_t need = static_cast<size_t>(n) + 1;
    if (scratchBytes && scratchCapacity >= need) {
        if (scratchCapacity > need && scratchCapacity > kKeepLimit) {
            release();
            scratchBytes = newScratch(need);
            scratchCapacity = need;
        }
    } else {
        remakeScratch(need, scratchLength < n ? scratchLength : n);
    }
    scratchBytes[n] = 0;
    scratchLength = n;
    return scratchBytes;
}

void EncodingScratch::append(const char* bytes, int32_t count) {
    if (count <= 0) return;
    if (count > INT32_MAX - scratchLength) throw std::bad_alloc();
    const int32_t start = scratchLength;
    const int32_t end = start + count;
    if (!scratchBytes || static_cast<size_t>(end) + 1 > scratchCapacity) {
        reserve(end);
    } else {
        scratchBytes[end] = 0;
        scratchLength = end;
    }
    std::memcpy(scratchBytes + start, bytes, static_cast<size_t>(count));
}

void EncodingScratch::truncate(int32_t n) {
    if (!scratchBytes || n < 0 || n > scratchLength) return;
    scratchBytes[n] = 0;
    scratchLength = n;
}

void EncodingScratch::settle(int32_t n) {
    const size_t need = static_cast<size_t>(n) + 1;
    if (scratchCapacity > need && scratchCapacity > kKeepLimit) remakeScratch(need, n);
    scratchBytes[n] = 0;
    scratchLength = n;
}

char* EncodingScratch::room() {
    return scratchBytes;
}

const char* EncodingScratch::data() {
    return scratchBytes;
}

size_t EncodingScratch::capacity() {
    return scratchCapacity;
}

int32_t EncodingScratch::length() {
    return scratchLength;
}

void EncodingScratch::release() {
    Heap::operator delete[](scratchBytes);
    scratchBytes = nullptr;
    scratchCapacity = 0;
    scratchLength = 0;
}

// ---------------------------------------------------------------------------------------------
// Encoding and decoding

String::String(const char* bytes, Encoder* enc) : String() {
    decode(bytes, -1, enc);
}

int16_t String::decode(const char* bytes, int32_t len, Encoder* enc) {
    Encoder& encoder = enc ? *enc : Encoder::getDefault();
    if (!bytes) {
        len = 0;
    } else if (len < 0) {
        const size_t n = std::strlen(bytes);
        len = n > static_cast<size_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(n);
    }
    // Built apart, so that the text stays as it was when an allocation fails.
    String result;
    StringSink sink(result);
    const int16_t status = decodeBytesInto(encoder, bytes, len, sink);
    sink.finish();
    *this = std::move(result);
    return status;
}

// One call when the encoder can tell the size (a bound is enough: the length is cut back to what
// was written), pieces through a local buffer otherwise, or after that call stopped early. An encoder
// that names the fewest bytes a text can take is first tried straight into the buffer the last
// encode left, when that has the room: a text of about the same size as the last one then takes a
// single pass, and the length is asked only for what did not fit.
int16_t String::encode(const char*& out, int32_t& len, Encoder* enc) const {
    Encoder& encoder = enc ? *enc : Encoder::getDefault();
    const unsigned short* src = data->units;
    const int32_t n = data->length;
    ConversionStatus status;
    int32_t done = 0;
    int32_t written = 0;
    bool continued = false;

    const int32_t minimum = n > 0 ? encoder.getEncodedMinimum(n) : -1;
    if (minimum >= 0 && EncodingScratch::capacity() > static_cast<size_t>(minimum)) {
        const size_t capacity = EncodingScratch::capacity() - 1;
        const int32_t room = capacity > static_cast<size_t>(INT32_MAX) ? INT32_MAX : int32_t(capacity);
        status.note(encoder.encode(src, n, EncodingScratch::room(), room, false));
        written = clampCount(encoder.getDstCount(), room);
        done = clampCount(encoder.getSrcCount(), n);
        continued = true;
        EncodingScratch::settle(written);
    }

    if (done < n || n == 0) {
        const unsigned short* rest = src + done;
        int32_t known = -1;
        if (done < n) {
            if (encoder.hasNewAPI()) {
                const int16_t refused = encoder.getMBCSLength(rest, n - done, known);
                if (refused != ErrNone) {
                    out = EncodingScratch::reserve(0);
                    len = 0;
                    return refused;
                }
            } else {
                known = encoder.getEncodedLength(rest, n - done);
            }
            if (known > INT32_MAX - written) known = -1; // left to the pieces, which will refuse it
        }
        if (known >= 0) {
            char* to = EncodingScratch::reserve(written + known) + written;
            status.note(encoder.encode(rest, n - done, to, known, continued));
            EncodingScratch::truncate(written + clampCount(encoder.getDstCount(), known));
            done += clampCount(encoder.getSrcCount(), n - done);
            continued = true;
        } else if (!continued) {
            EncodingScratch::reserve(0);
        }
    }

    char piece[kEncodePiece];
    while (done < n) {
        const int16_t code = encoder.encode(src + done, n - done, piece, kEncodePiece, continued);
        EncodingScratch::append(piece, clampCount(encoder.getDstCount(), kEncodePiece));
        status.note(code);
        const int32_t used = clampCount(encoder.getSrcCount(), n - done);
        if (used == 0) break;
        done += used;
        continued = true;
    }
    out = EncodingScratch::data();
    len = EncodingScratch::length();
    return status.result();
}

const char* String::encode(Encoder* enc) const {
    const char* out = nullptr;
    int32_t len = 0;
    encode(out, len, enc);
    return out;
}

int32_t String::getEncodedLength() {
    return EncodingScratch::length();
}

// ---------------------------------------------------------------------------------------------
// Percent encoding

bool String::encodeURI(const unsigned short* keep) {
    Encoder* utf8 = Encoder::get(u"UTF8");
    if (!utf8) return false;
    const char* bytes = nullptr;
    int32_t count = 0;
    if (encode(bytes, count, utf8) != ErrNone) return false;

    // keep is compared unit by unit with each byte's value, so only its units below 256 can match;
    // a byte 0 is always escaped.
    bool kept[256] = {};
    for (int b = 0; b < 256; ++b)
        kept[b] = isAlphanumeric(static_cast<unsigned char>(b));
    if (keep)
        for (const unsigned short* k = keep; *k; ++k)
            if (*k < 256) kept[*k] = true;

    size_t units = 0;
    for (int32_t i = 0; i < count; ++i)
        units += kept[static_cast<unsigned char>(bytes[i])] ? 1 : 3;
    if (units > static_cast<size_t>(INT32_MAX)) throw std::bad_alloc();

    static const char kHex[] = "0123456789ABCDEF";
    String result;
    StringAccess::adjust(result, static_cast<int32_t>(units));
    unsigned short* to = StringAccess::units(result);
    for (int32_t i = 0; i < count; ++i) {
        const unsigned char b = static_cast<unsigned char>(bytes[i]);
        if (kept[b]) {
            *to++ = b;
        } else {
            // What "%%%02X" writes.
            *to++ = '%';
            *to++ = static_cast<unsigned char>(kHex[b >> 4]);
            *to++ = static_cast<unsigned char>(kHex[b & 15]);
        }
    }
    *this = std::move(result);
    return true;
}

bool String::decodeURI() {
    const unsigned short* p = data->units;
    const int32_t n = data->length;
    String result;
    PendingBytes pending;
    for (int32_t i = 0; i < n; ++i) {
        if (p[i] != '%') {
            pending.flushTo(result);
            result += p[i];
            continue;
        }
        if (n - i < 3) return false;
        const int high = hexValue(p[i + 1]);
        const int low = hexValue(p[i + 2]);
        if (high < 0 || low < 0) return false;
        pending.add(static_cast<char>(high * 16 + low), n - i);
        i += 2;
    }
    pending.flushTo(result);
    *this = std::move(result);
    return true;
}

} // namespace Quarn
