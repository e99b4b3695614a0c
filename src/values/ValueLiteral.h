// Reads one literal value from the front of a text: the grammar of values in the library's literal
// notation (a quoted string, "[...]" for an array, null, true, false, undefined, or a number).
#ifndef QUARN_VALUES_VALUELITERAL_H
#define QUARN_VALUES_VALUELITERAL_H

#include <quarn/Variant.h>

namespace Quarn {
namespace detail {

// Reads the value at the front of text into out and removes it, with the "," that ends it and the
// white space around them. False (text unchanged, out undefined) when the value is malformed.
bool readValueLiteral(String& text, Variant& out);

// The index just past the "]" that closes the "[" at start, counting brackets outside quotes (either
// quote character opens a quote that only the same character closes); -1 when it is not closed.
int32_t findClosingBracket(const String& text, int32_t start, unsigned short open, unsigned short close);

} // namespace detail
} // namespace Quarn

#endif
