// Decimal text of doubles that matches C's printf conversions byte for byte ("%.0f", "%.*f",
// "%.*e") in the "C" locale, with fast exact paths for the values scripts meet every day.
#ifndef QUARN_VALUES_NUMBERTEXT_H
#define QUARN_VALUES_NUMBERTEXT_H

#include <quarn/Config.h>

namespace Quarn {
namespace detail {

// A growable byte buffer for number text: on the stack up to its inline size, on Heap beyond.
class NumberBuffer {
public:
    NumberBuffer() : bytes(inlineBytes), size(0), capacity(sizeof inlineBytes) {}
    ~NumberBuffer();
    NumberBuffer(const NumberBuffer&) = delete;
    NumberBuffer& operator=(const NumberBuffer&) = delete;

    char* reserve(int32_t n); // room for n more bytes, returned at the end of the text
    void append(const char* text, int32_t n);
    void push(char c) { *reserve(1) = c, ++size; }
    void commit(int32_t n) { size += n; }
    void clear() { size = 0; }
    const char* text() const { return bytes; }
    int32_t length() const { return size; }
    char* begin() { return bytes; }

private:
    char* bytes;
    int32_t size;
    int32_t capacity;
    char inlineBytes[128];
};

// Decimal digits of an unsigned integer; returns the count written (at most 20).
int writeUnsigned(uint64_t value, char* out);

// C's "%.*f" of v (decimals < 0 means C's default of 6), appended to out.
void appendFixed(double v, int decimals, NumberBuffer& out);
// C's "%.*e" of v with a lower-case "e" (decimals < 0 means 6), appended to out.
void appendExponential(double v, int decimals, NumberBuffer& out);

} // namespace detail
} // namespace Quarn

#endif
