// Build configuration shared by every public header: the export macro and the fixed-width types.
//
// Quarn behaves the same on 32-bit and 64-bit builds: quantities the library treats as 32-bit are
// written int32_t/uint32_t, error codes int16_t, UTF-16 code units unsigned short, and slots that
// may hold either an integer or a pointer intptr_t.
#ifndef QUARN_CONFIG_H
#define QUARN_CONFIG_H

#include <cstddef>
#include <cstdint>

#if defined(QUARN_STATIC)
#define QUARN_API
#elif defined(_WIN32)
#if defined(QUARN_BUILDING)
#define QUARN_API __declspec(dllexport)
#else
#define QUARN_API __declspec(dllimport)
#endif
#else
#define QUARN_API __attribute__((visibility("default")))
#endif

#define QUARN_VERSION_MAJOR 3
#define QUARN_VERSION_MINOR 2
#define QUARN_VERSION_RELEASE 20
#define QUARN_VERSION_STRING "3.2.20"

namespace Quarn {

static_assert(sizeof(unsigned short) == 2, "a UTF-16 code unit must be 16 bits");
static_assert(sizeof(char16_t) == sizeof(unsigned short), "char16_t literals must fit the code unit");

} // namespace Quarn

#endif
