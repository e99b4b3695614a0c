// The byte side of String: the decoding loop shared by String::decode and the formatter's byte
// texts, and the process-wide scratch buffer that String::encode writes into.
#ifndef QUARN_TEXT_STRINGENCODING_H
#define QUARN_TEXT_STRINGENCODING_H

#include <quarn/Encoder.h>

namespace Quarn {

// The outcome of a run of conversion calls over one text: the first real problem met, else what
// the last call said. A partial character (ErrPartialMultibyte) in the middle only means that a
// piece ended inside a character, which the next call picks up, so it counts only from the call
// that ends the run.
class ConversionStatus {
public:
    void note(int16_t code) {
        last = code;
        if (code != ErrNone && code != ErrPartialMultibyte && first == ErrNone) first = code;
    }
    int16_t result() const { return first != ErrNone ? first : last; }

private:
    int16_t first = ErrNone;
    int16_t last = ErrNone;
};

// Units decoded without a length known in advance go through pieces of this size.
constexpr int32_t kDecodePiece = 2048;
// And bytes encoded that way.
constexpr int32_t kEncodePiece = 2048;

inline int32_t clampCount(int32_t count, int32_t most) {
    return count < 0 ? 0 : count > most ? most : count;
}

// Decodes len bytes with encoder into sink, which offers `unsigned short* reserve(int32_t n)` (room
// for n more units) and `void commit(int32_t n)` (n of them were written). When the encoder can
// bound or tell the length, the text is converted in one call straight into the sink; otherwise, or when
// that call stops early (a character the count missed, a conversion error after which the encoder
// stops), in pieces, each call after the first passing continued. Conversion goes on while calls
// make progress. An encoder that refuses the source in its length query decodes nothing: its code
// is the result (an encoder that gives a bound is not asked).
template <class Sink> int16_t decodeBytesInto(Encoder& encoder, const char* src, int32_t len, Sink& sink) {
    if (!src || len <= 0) return ErrNone;
    int32_t known = encoder.getDecodedLimit(len);
    if (known >= 0) {
        // A bound is enough: one call into that much room, cut back to what was written.
    } else if (encoder.hasNewAPI()) {
        const int16_t refused = encoder.getUnicodeLength(src, len, known);
        if (refused != ErrNone) return refused;
    } else {
        known = encoder.getDecodedLength(src, len);
    }
    ConversionStatus status;
    int32_t done = 0;
    bool continued = false;
    if (known >= 0) {
        unsigned short* to = sink.reserve(known);
        status.note(encoder.decode(src, len, to, known, false));
        sink.commit(clampCount(encoder.getDstCount(), known));
        done = clampCount(encoder.getSrcCount(), len);
        continued = true;
    }
    while (done < len) {
        unsigned short* to = sink.reserve(kDecodePiece);
        const int16_t code = encoder.decode(src + done, len - done, to, kDecodePiece, continued);
        sink.commit(clampCount(encoder.getDstCount(), kDecodePiece));
        status.note(code);
        const int32_t used = clampCount(encoder.getSrcCount(), len - done);
        if (used == 0) break;
        done += used;
        continued = true;
    }
    return status.result();
}

// The buffer String::encode leaves its bytes in, one per process. For a result of n bytes it needs
// n + 1; a buffer too small is replaced by one of exactly n + 1 bytes with the old contents copied
// over, and a buffer larger than needed is kept unless it holds more than 16384 bytes, in which case
// it is dropped for one of exactly n + 1. If making a buffer fails, the old one is freed, the state
// is "no buffer" and std::bad_alloc passes on.
struct EncodingScratch {
    static constexpr size_t kKeepLimit = 16384;

    // Room for n bytes and the 0 after them, by the rule above; the length becomes n.
    static char* reserve(int32_t n);
    // Adds count bytes at the end, growing by the rule only when they do not fit.
    static void append(const char* bytes, int32_t count);
    // Cuts the length back to n (not beyond the bytes in the buffer) and ends the bytes there.
    static void truncate(int32_t n);
    // For a result written in place (n bytes at the start of the buffer, which had the room): the
    // rule above as if room for n had been asked first, keeping the n bytes; the length becomes n.
    static void settle(int32_t n);

    // The buffer, to be written in place; capacity() bytes, null when there is none.
    static char* room();

    static const char* data();
    static size_t capacity();
    static int32_t length();
    // Frees the buffer (the String module's end step; tests, to leave the heap as they found it).
    static void release();
};

} // namespace Quarn

#endif
