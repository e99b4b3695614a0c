// The operating-system layer: the only code that includes platform headers. posix/ or win32/
// implements these; the rest of the library takes the platform facts it needs from here.
#ifndef QUARN_PLATFORM_PLATFORM_H
#define QUARN_PLATFORM_PLATFORM_H

#include <quarn/Config.h>

namespace Quarn {
namespace platform {

// The local time zone's bias, UTC minus local standard time, in minutes (positive west of
// Greenwich). False when the platform cannot tell.
bool readTimeZoneBias(int32_t& minutes);

// The platform's own line end as a String line-end kind: 3 (LF) on POSIX, 1 (CR LF) on Windows.
int nativeLineEnd();

// A hint for a large block fresh from the system heap (several megabytes, such as the text of a
// whole file): back it with large pages where the platform offers them, so that filling it costs a
// few page faults instead of thousands. Does nothing for smaller blocks or where not supported.
void adviseLargeBlock(void* block, size_t bytes);

// Code-page conversion keyed by Windows code-page numbers: the Win32 converters on Windows, glibc
// iconv elsewhere (the number is mapped to an iconv charset name). A converter belongs to whoever
// opened it.
struct CodePageConverter;

// A converter for the code page, or null when this machine cannot convert it.
CodePageConverter* openCodePage(uint32_t codePage);
void closeCodePage(CodePageConverter* converter);

// Converts the whole source in one go and returns the units (bytes) written, or, with a null
// destination, the units (bytes) the source needs. -1 when the source cannot be converted as a
// whole (an invalid or incomplete character, a character the code page lacks) or when the
// destination is too small; nothing partial is reported. flags are the Win32 conversion flags,
// which other platforms do not use.
int32_t codePageToUnicode(CodePageConverter* converter, uint32_t flags, const char* src, int32_t len,
                          unsigned short* dst, int32_t dstLen);
int32_t codePageToBytes(CodePageConverter* converter, uint32_t flags, const unsigned short* src, int32_t len,
                        char* dst, int32_t dstLen);

// The setting the system's legacy encoding comes from, as 0-terminated bytes in buffer: the ANSI
// code page number on Windows; on POSIX the locale of the character type, the first of LC_ALL,
// LC_CTYPE and LANG that is set and not empty (read from the environment, so the process locale
// is left alone). False when there is none.
bool readSystemEncodingSetting(char* buffer, size_t size);

// The code page that a well-known POSIX code-set name stands for ("KOI8-R" is 20866, "eucJP"
// 51932), compared without regard to case, "-" and "_", and the charset name the platform converts
// it by. False for names it does not know (always on Windows, whose answer is already a number).
bool codePageOfCodeSet(const char* name, uint32_t& codePage, const char*& charsetName);

} // namespace platform
} // namespace Quarn

#endif
