#include "values/ChainedBuckets.h"

#include <quarn/HashTable.h>
#include <quarn/UnicodeUtils.h>

namespace Quarn {

namespace {

constexpr int32_t kHashedUnits = 5;

// Upper case as towupper gives it; ASCII is settled here without the call.
inline unsigned short fold(unsigned short c) {
    if (c < 0x80) return (c >= 'a' && c <= 'z') ? static_cast<unsigned short>(c - 32) : c;
    return UnicodeUtils::towupper(c);
}

inline uint32_t hashUnits(const unsigned short* units, int32_t length) {
    uint32_t h = 0;
    for (int32_t i = 0; i < length && i < kHashedUnits; ++i)
        h = h * 2 + fold(units[i]);
    return h;
}

inline int32_t textLength(const unsigned short* text) {
    int32_t n = 0;
    while (text[n] != 0)
        ++n;
    return n;
}

inline bool sameUnit(unsigned short a, unsigned short b, bool ignoreCase) {
    return a == b || (ignoreCase && fold(a) == fold(b));
}

const unsigned short kNoText[1] = {0};

// A key being looked up. In a chain, candidates are rejected on the stored hash, then on the length,
// before any of their text is read.
struct Probe {
    Probe(const unsigned short* units, int32_t length)
        : units(units), length(length), hash(hashUnits(units, length)) {}
    explicit Probe(const String& key) : Probe(key.wstr(), key.length()) {}
    // 0-terminated text; null is the empty key.
    explicit Probe(const unsigned short* text) : Probe(text ? text : kNoText, text ? textLength(text) : 0) {}

    bool matches(const HashItem* item, bool ignoreCase) const {
        if (item->hash != hash || item->length() != length) return false;
        const unsigned short* other = item->wstr();
        for (int32_t i = 0; i < length; ++i)
            if (!sameUnit(units[i], other[i], ignoreCase)) return false;
        return true;
    }

    const unsigned short* units;
    int32_t length;
    uint32_t hash;
};

inline uint32_t hashOfItem(const HashItem* item) {
    return item->hash;
}

HashItem* lookUp(const SimpleArray& buckets, const Probe& probe, bool ignoreCase) {
    int32_t n = buckets.length();
    if (n == 0) return nullptr;
    for (HashItem* item = chains::head<HashItem>(buckets, chains::bucketOf(probe.hash, n)); item;
         item = item->next)
        if (probe.matches(item, ignoreCase)) return item;
    return nullptr;
}

} // namespace

uint32_t HashTable::hashKey(const String& key) {
    return hashUnits(key.wstr(), key.length());
}

uint32_t HashTable::hashKey(const unsigned short* key) {
    return key ? hashUnits(key, textLength(key)) : 0;
}

HashTable::HashTable(const HashTable& other) : count(0), detached(nullptr) {
    // A throwing constructor runs no destructor: free what was already copied.
    try {
        *this += other;
    } catch (...) {
        erase();
        throw;
    }
}

HashTable& HashTable::operator=(const HashTable& other) {
    if (this == &other) return *this;
    erase();
    return *this += other;
}

HashTable& HashTable::operator+=(const HashTable& other) {
    chains::visitAll<const HashItem>(other.buckets,
                                     [this](const HashItem* item) { set(*item, item->value, false); });
    return *this;
}

bool HashTable::operator==(const HashTable& other) const {
    return chains::sameChains<HashItem>(buckets, other.buckets, [](const HashItem* a, const HashItem* b) {
        return a->value == b->value && static_cast<const String&>(*a) == static_cast<const String&>(*b);
    });
}

void HashTable::erase() {
    chains::freeAll(buckets, detached);
    count = 0;
}

HashItem* HashTable::findItem(const String& key, bool ignoreCase) const {
    return lookUp(buckets, Probe(key), ignoreCase);
}

HashItem* HashTable::findItem(const unsigned short* key, bool ignoreCase) const {
    return lookUp(buckets, Probe(key), ignoreCase);
}

intptr_t HashTable::find(const String& key, bool ignoreCase) const {
    const HashItem* item = lookUp(buckets, Probe(key), ignoreCase);
    return item ? item->value : 0;
}

intptr_t HashTable::find(const unsigned short* key, bool ignoreCase) const {
    const HashItem* item = lookUp(buckets, Probe(key), ignoreCase);
    return item ? item->value : 0;
}

void HashTable::smartGrow() {
    chains::grow<HashItem>(buckets, count, hashOfItem);
}

void HashTable::smartShrink() {
    chains::shrink<HashItem>(buckets, count, hashOfItem);
}

const String& HashTable::set(const String& key, intptr_t value, bool ignoreCase) {
    Probe probe(key);
    if (HashItem* item = lookUp(buckets, probe, ignoreCase)) {
        // Folding keeps the hash, so the respelt key stays in its chain.
        if (ignoreCase) static_cast<String&>(*item) = key;
        item->value = value;
        return *item;
    }
    smartGrow();
    intptr_t& chain = buckets[chains::bucketOf(probe.hash, buckets.length())];
    HashItem* item = new HashItem(key, probe.hash, value);
    item->next = reinterpret_cast<HashItem*>(chain);
    chain = reinterpret_cast<intptr_t>(item);
    ++count;
    return *item;
}

const String* HashTable::findKey(intptr_t value) const {
    return chains::firstWhere<const HashItem>(buckets,
                                              [value](const HashItem* item) { return item->value == value; });
}

template <class Key> intptr_t HashTable::removeKey(const Key& key, bool ignoreCase) {
    int32_t n = buckets.length();
    if (n == 0) return 0;
    HashItem* item =
        chains::unlinkFirst<HashItem>(buckets, chains::bucketOf(key.hash, n), [&](const HashItem* candidate) {
            return key.matches(candidate, ignoreCase);
        });
    if (!item) return 0;
    intptr_t value = item->value;
    delete item;
    --count;
    smartShrink();
    return value;
}

intptr_t HashTable::remove(const String& key, bool ignoreCase) {
    return removeKey(Probe(key), ignoreCase);
}

intptr_t HashTable::remove(const unsigned short* key, bool ignoreCase) {
    return removeKey(Probe(key), ignoreCase);
}

void HashTable::removeData(intptr_t value) {
    TSimpleArray<const String> keys;
    chains::visitAll<const HashItem>(buckets, [&](const HashItem* item) {
        if (item->value == value) keys.append(item);
    });
    for (int32_t i = 0; i < keys.length(); ++i) {
        // A key of its own: removing the entry destroys the text it was found by.
        String key(*keys[i]);
        remove(key, false);
    }
}

void HashTable::getKeys(TSimpleArray<const String>& keys) const {
    keys.setSize(count);
    int32_t written = 0;
    chains::visitAll<const HashItem>(buckets, [&](const HashItem* item) { keys[written++] = item; });
    // Entries unlinked by forEach are still counted but no longer reachable.
    if (written < count) keys.setSize(written);
}

void HashTable::getData(SimpleArray& values) const {
    chains::distinctValues<HashItem>(buckets, values);
}

void HashTable::forEach(bool (*fn)(const String& key, intptr_t* value, intptr_t data), intptr_t data) {
    if (count == 0) return;
    bool dropped =
        chains::walk(buckets, detached, [&](HashItem* item) { return fn(*item, &item->value, data); });
    if (dropped) smartShrink();
}

} // namespace Quarn
