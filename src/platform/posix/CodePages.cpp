// Code pages through glibc iconv. Windows code-page numbers are mapped to iconv charset names; a
// number without a mapping is tried as "CP<number>", which glibc knows for many IBM and Windows
// pages. Both directions are opened up front, so a code page is usable only when it converts both
// ways. iconv reports every invalid or incomplete character: a conversion then fails as a whole.
#include "platform/Platform.h"

#include <quarn/Heap.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>

namespace Quarn {
namespace platform {

struct CodePageConverter : Heap {
    iconv_t toUnicode;
    iconv_t toBytes;
};

namespace {

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
const char kUnitCharset[] = "UTF-16BE";
#else
const char kUnitCharset[] = "UTF-16LE";
#endif

const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

// A code page and the iconv names to try for it, in order. The list doubles as the table of
// code-set names that locales use (compared loosely, see codePageOfCodeSet).
struct CharsetName {
    uint32_t codePage;
    const char* names[2];
};

const CharsetName kCharsets[] = {
    {437, {"CP437", nullptr}},          {850, {"CP850", nullptr}},
    {866, {"CP866", nullptr}},          {874, {"CP874", nullptr}},
    {932, {"CP932", nullptr}},          {936, {"CP936", "GBK"}},
    {949, {"CP949", nullptr}},          {950, {"CP950", "BIG5"}},
    {1026, {"IBM1026", nullptr}},       {1250, {"CP1250", nullptr}},
    {1251, {"CP1251", nullptr}},        {1252, {"CP1252", nullptr}},
    {1253, {"CP1253", nullptr}},        {1254, {"CP1254", nullptr}},
    {1255, {"CP1255", nullptr}},        {1256, {"CP1256", nullptr}},
    {1257, {"CP1257", nullptr}},        {1258, {"CP1258", nullptr}},
    {1361, {"JOHAB", nullptr}},         {10000, {"MACINTOSH", nullptr}},
    {10007, {"MAC-CYRILLIC", nullptr}}, {10029, {"MAC-CENTRALEUROPE", nullptr}},
    {10079, {"MAC-IS", nullptr}},       {20127, {"ANSI_X3.4-1968", nullptr}},
    {20866, {"KOI8-R", nullptr}},       {21866, {"KOI8-U", nullptr}},
    {21886, {"KOI8-U", nullptr}},       {28591, {"ISO-8859-1", nullptr}},
    {28592, {"ISO-8859-2", nullptr}},   {28593, {"ISO-8859-3", nullptr}},
    {28594, {"ISO-8859-4", nullptr}},   {28595, {"ISO-8859-5", nullptr}},
    {28596, {"ISO-8859-6", nullptr}},   {28597, {"ISO-8859-7", nullptr}},
    {28598, {"ISO-8859-8", nullptr}},   {28599, {"ISO-8859-9", nullptr}},
    {28600, {"ISO-8859-10", nullptr}},  {28601, {"ISO-8859-11", nullptr}},
    {28603, {"ISO-8859-13", nullptr}},  {28604, {"ISO-8859-14", nullptr}},
    {28605, {"ISO-8859-15", nullptr}},  {28606, {"ISO-8859-16", nullptr}},
    {50220, {"ISO-2022-JP", nullptr}},  {50225, {"ISO-2022-KR", nullptr}},
    {51932, {"EUC-JP", nullptr}},       {51949, {"EUC-KR", nullptr}},
    {52936, {"HZ", nullptr}},           {54936, {"GB18030", nullptr}},
    {65000, {"UTF-7", nullptr}},        {65001, {"UTF-8", nullptr}},
};

// Code-set names of locales that are spelled unlike any iconv name above.
struct CodeSetAlias {
    const char* name;
    uint32_t codePage;
};

const CodeSetAlias kCodeSetAliases[] = {
    {"SJIS", 932},
    {"SHIFTJIS", 932},
    {"GB2312", 936},
    {"EUCCN", 936},
};

const CharsetName* charsetOf(uint32_t codePage) {
    for (const CharsetName& entry : kCharsets)
        if (entry.codePage == codePage) return &entry;
    return nullptr;
}

// Upper case without "-" and "_", so that "koi8r", "KOI8-R" and "KOI8_R" compare equal.
bool looselyEqual(const char* a, const char* b) {
    for (;;) {
        while (*a == '-' || *a == '_')
            ++a;
        while (*b == '-' || *b == '_')
            ++b;
        unsigned char x = static_cast<unsigned char>(*a), y = static_cast<unsigned char>(*b);
        if (x >= 'a' && x <= 'z') x = static_cast<unsigned char>(x - 32);
        if (y >= 'a' && y <= 'z') y = static_cast<unsigned char>(y - 32);
        if (x != y) return false;
        if (!x) return true;
        ++a;
        ++b;
    }
}

bool openPair(const char* charset, iconv_t& toUnicode, iconv_t& toBytes) {
    toUnicode = iconv_open(kUnitCharset, charset);
    if (toUnicode == kNoConverter) return false;
    toBytes = iconv_open(charset, kUnitCharset);
    if (toBytes == kNoConverter) {
        iconv_close(toUnicode);
        return false;
    }
    return true;
}

// Runs one whole conversion. With dst null the output goes to a small buffer that is emptied as it
// fills, and only counted. The converter is put back in its initial state first, and at the end
// asked for the bytes that return a stateful encoding to it, so every call stands on its own.
// Returns the bytes written or needed, or -1.
int64_t convert(iconv_t cd, const char* src, size_t srcBytes, char* dst, size_t dstBytes) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char spill[1024];
    const bool counting = dst == nullptr;
    // A null input would make iconv reset instead of convert.
    char* in = const_cast<char*>(src ? src : "");
    size_t inLeft = srcBytes;
    char* out = counting ? spill : dst;
    size_t outLeft = counting ? sizeof spill : dstBytes;
    int64_t total = 0;
    bool flushed = false;
    for (;;) {
        size_t done =
            flushed ? iconv(cd, nullptr, nullptr, &out, &outLeft) : iconv(cd, &in, &inLeft, &out, &outLeft);
        if (done == static_cast<size_t>(-1)) {
            // Only a full spill buffer is worth going on for; each round empties it, so every
            // round makes progress.
            if (errno != E2BIG || !counting || out == spill) return -1;
            total += out - spill;
            out = spill;
            outLeft = sizeof spill;
            continue;
        }
        if (flushed) break;
        flushed = true;
    }
    return total + (counting ? out - spill : out - dst);
}

} // namespace

CodePageConverter* openCodePage(uint32_t codePage) {
    iconv_t toUnicode = kNoConverter, toBytes = kNoConverter;
    bool opened = false;
    if (const CharsetName* entry = charsetOf(codePage)) {
        for (const char* name : entry->names)
            if (!opened && name) opened = openPair(name, toUnicode, toBytes);
    } else {
        char name[16];
        std::snprintf(name, sizeof name, "CP%u", static_cast<unsigned>(codePage));
        opened = openPair(name, toUnicode, toBytes);
    }
    if (!opened) return nullptr;
    CodePageConverter* converter;
    try {
        converter = new CodePageConverter;
    } catch (...) {
        iconv_close(toUnicode);
        iconv_close(toBytes);
        throw;
    }
    converter->toUnicode = toUnicode;
    converter->toBytes = toBytes;
    return converter;
}

void closeCodePage(CodePageConverter* converter) {
    if (!converter) return;
    iconv_close(converter->toUnicode);
    iconv_close(converter->toBytes);
    delete converter;
}

int32_t codePageToUnicode(CodePageConverter* converter, uint32_t, const char* src, int32_t len,
                          unsigned short* dst, int32_t dstLen) {
    if (!converter || len < 0 || (dst && dstLen < 0)) return -1;
    int64_t bytes = convert(converter->toUnicode, src, static_cast<size_t>(len), reinterpret_cast<char*>(dst),
                            dst ? static_cast<size_t>(dstLen) * 2 : 0);
    if (bytes < 0 || bytes / 2 > INT32_MAX) return -1;
    return static_cast<int32_t>(bytes / 2);
}

int32_t codePageToBytes(CodePageConverter* converter, uint32_t, const unsigned short* src, int32_t len,
                        char* dst, int32_t dstLen) {
    if (!converter || len < 0 || (dst && dstLen < 0)) return -1;
    int64_t bytes = convert(converter->toBytes, reinterpret_cast<const char*>(src),
                            static_cast<size_t>(len) * 2, dst, dst ? static_cast<size_t>(dstLen) : 0);
    if (bytes < 0 || bytes > INT32_MAX) return -1;
    return static_cast<int32_t>(bytes);
}

bool readSystemEncodingSetting(char* buffer, size_t size) {
    if (!buffer || size == 0) return false;
    static const char* const kVariables[] = {"LC_ALL", "LC_CTYPE", "LANG"};
    for (const char* variable : kVariables) {
        const char* value = std::getenv(variable);
        if (!value || !*value) continue;
        std::strncpy(buffer, value, size - 1);
        buffer[size - 1] = 0;
        return true;
    }
    buffer[0] = 0;
    return false;
}

bool codePageOfCodeSet(const char* name, uint32_t& codePage, const char*& charsetName) {
    if (!name || !*name) return false;
    for (const CharsetName& entry : kCharsets) {
        for (const char* known : entry.names) {
            if (known && looselyEqual(name, known)) {
                codePage = entry.codePage;
                charsetName = entry.names[0];
                return true;
            }
        }
    }
    for (const CodeSetAlias& alias : kCodeSetAliases) {
        if (looselyEqual(name, alias.name)) {
            codePage = alias.codePage;
            charsetName = charsetOf(alias.codePage)->names[0];
            return true;
        }
    }
    return false;
}

} // namespace platform
} // namespace Quarn
