// Code pages through the Win32 converters. A converter is just the code page number, checked once
// with GetCPInfo. The calls are made with an exact destination size: a destination that is too
// small fails the call (ERROR_INSUFFICIENT_BUFFER), so nothing partial is ever reported.
#include "platform/Platform.h"

#include <quarn/Heap.h>

#include <cstring>
#include <windows.h>

namespace Quarn {
namespace platform {

struct CodePageConverter : Heap {
    UINT codePage;
};

CodePageConverter* openCodePage(uint32_t codePage) {
    CPINFO info;
    if (!GetCPInfo(static_cast<UINT>(codePage), &info)) return nullptr;
    CodePageConverter* converter = new CodePageConverter;
    converter->codePage = static_cast<UINT>(codePage);
    return converter;
}

void closeCodePage(CodePageConverter* converter) {
    delete converter;
}

// A room of 0 would turn the call into a size query; an empty source is refused by Win32.
int32_t codePageToUnicode(CodePageConverter* converter, uint32_t flags, const char* src, int32_t len,
                          unsigned short* dst, int32_t dstLen) {
    if (!converter || len < 0 || (dst && dstLen < 0)) return -1;
    if (len == 0) return 0;
    if (dst && dstLen == 0) return -1;
    int n = MultiByteToWideChar(converter->codePage, static_cast<DWORD>(flags), src, len,
                                reinterpret_cast<LPWSTR>(dst), dst ? dstLen : 0);
    return n > 0 ? n : -1;
}

int32_t codePageToBytes(CodePageConverter* converter, uint32_t flags, const unsigned short* src, int32_t len,
                        char* dst, int32_t dstLen) {
    if (!converter || len < 0 || (dst && dstLen < 0)) return -1;
    if (len == 0) return 0;
    if (dst && dstLen == 0) return -1;
    int n = WideCharToMultiByte(converter->codePage, static_cast<DWORD>(flags), reinterpret_cast<LPCWCH>(src),
                                len, dst, dst ? dstLen : 0, nullptr, nullptr);
    return n > 0 ? n : -1;
}

bool readSystemEncodingSetting(char* buffer, size_t size) {
    if (!buffer || size == 0) return false;
    char answer[512];
    if (!GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE, answer, sizeof answer)) {
        buffer[0] = 0;
        return false;
    }
    std::strncpy(buffer, answer, size - 1);
    buffer[size - 1] = 0;
    return buffer[0] != 0;
}

bool codePageOfCodeSet(const char*, uint32_t&, const char*&) {
    return false;
}

} // namespace platform
} // namespace Quarn
