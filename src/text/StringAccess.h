// Inside view of a String's buffer, for the text subsystem's own files and for tests: capacity,
// sharing and the raw buffer, which the public interface deliberately hides.
#ifndef QUARN_TEXT_STRINGACCESS_H
#define QUARN_TEXT_STRINGACCESS_H

#include <quarn/String.h>

namespace Quarn {

struct StringAccess {
    static const StringData* buffer(const String& s) { return s.data; }
    static int32_t capacity(const String& s) { return s.data->limit + 1; }
    static int32_t refCount(const String& s) { return s.data->refCount; }
    static bool usesStaticEmpty(const String& s) { return s.data == &String::emptyBuffer; }
    static const StringData* staticEmpty() { return &String::emptyBuffer; }

    // The capacity a text of n units gets: the smallest multiple of the granule (16 below 256
    // units, 256 below 32768, 1024 above) that leaves room for the terminator.
    static int32_t capacityFor(int32_t n) {
        int32_t granule = n < 256 ? 16 : n < 32768 ? 256 : 1024;
        return (n / granule + 1) * granule;
    }

    // Writable units of a String the caller has made private (through unique/adjust/init).
    static unsigned short* units(String& s) { return s.data->units; }
    static void unique(String& s) { s.unique(); }
    static void adjust(String& s, int32_t n) { s.adjust(n); }
    static void reserve(String& s, int32_t n) { s.reserve(n); }
    static void add(String& s, const unsigned short* text, int32_t len) { s.add(text, len); }
    static void add(String& s, unsigned short c) { s.add(c); }
};

} // namespace Quarn

#endif
