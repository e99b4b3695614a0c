// The bucket machinery shared by SparseArray and HashTable: chains of items linked through `next`,
// their heads kept in a SimpleArray, the load rules and the walking order.
//
// Bucket counts are always powers of two (16 to start, then doubled or halved), so "hash modulo the
// bucket count" is a mask.
#ifndef QUARN_VALUES_CHAINEDBUCKETS_H
#define QUARN_VALUES_CHAINEDBUCKETS_H

#include <quarn/SimpleArray.h>

#include <new>

namespace Quarn {
namespace chains {

constexpr int32_t kFirstBuckets = 16;
constexpr int32_t kGrowAbove = 50;   // percent
constexpr int32_t kShrinkBelow = 30; // percent

inline int32_t bucketOf(uint32_t hash, int32_t buckets) {
    return static_cast<int32_t>(hash & static_cast<uint32_t>(buckets - 1));
}

template <class Item> inline Item* head(const SimpleArray& buckets, int32_t bucket) {
    return reinterpret_cast<Item*>(buckets.getData()[bucket]);
}

inline int64_t loadPercent(int32_t count, int32_t buckets) {
    return static_cast<int64_t>(count) * 100 / buckets;
}

// Moves every item, old buckets in ascending order and each chain from its head, to the head of its
// new chain. Only the new bucket array is allocated; if that fails nothing has changed.
template <class Item, class HashOf> void rehash(SimpleArray& buckets, int32_t n, HashOf hashOf) {
    SimpleArray fresh;
    if (n > 0) fresh.setSize(n);
    intptr_t* slots = n > 0 ? &fresh[0] : nullptr;
    const intptr_t* old = buckets.getData();
    for (int32_t b = 0, end = buckets.length(); b < end; ++b) {
        Item* item = reinterpret_cast<Item*>(old[b]);
        while (item) {
            Item* next = item->next;
            intptr_t& chain = slots[bucketOf(hashOf(item), n)];
            item->next = reinterpret_cast<Item*>(chain);
            chain = reinterpret_cast<intptr_t>(item);
            item = next;
        }
    }
    buckets = fresh;
}

// Before inserting a new key: 16 buckets for the first, twice as many when more than half full.
template <class Item, class HashOf> void grow(SimpleArray& buckets, int32_t count, HashOf hashOf) {
    int32_t n = buckets.length();
    if (n == 0)
        rehash<Item>(buckets, kFirstBuckets, hashOf);
    else if (loadPercent(count, n) > kGrowAbove && n <= INT32_MAX / 2)
        rehash<Item>(buckets, n * 2, hashOf);
}

// After removing: half the buckets when less than 30 % full (1 bucket halves to none). Shrinking only
// saves memory, so when the smaller array cannot be had the table simply keeps its buckets.
template <class Item, class HashOf> void shrink(SimpleArray& buckets, int32_t count, HashOf hashOf) {
    int32_t n = buckets.length();
    if (n == 0 || loadPercent(count, n) >= kShrinkBelow) return;
    try {
        rehash<Item>(buckets, n / 2, hashOf);
    } catch (const std::bad_alloc&) {
    }
}

// The first item, in walking order, for which test(item) holds; null when none.
template <class Item, class Test> Item* firstWhere(const SimpleArray& buckets, Test test) {
    for (int32_t b = 0; b < buckets.length(); ++b)
        for (Item* item = head<Item>(buckets, b); item; item = item->next)
            if (test(item)) return item;
    return nullptr;
}

// Calls visit(item) for every item in walking order; visit must not unlink any.
template <class Item, class Visit> void visitAll(const SimpleArray& buckets, Visit visit) {
    firstWhere<Item>(buckets, [&](Item* item) {
        visit(item);
        return false;
    });
}

// Every distinct non-zero value, in walking order, into values (emptied first).
template <class Item> void distinctValues(const SimpleArray& buckets, SimpleArray& values) {
    values.erase();
    visitAll<const Item>(buckets, [&](const Item* item) {
        if (item->value != 0 && values.indexOf(item->value) < 0) values.append(item->value);
    });
}

// Unlinks the first item of the chain for which test(item) holds and returns it; null when none.
template <class Item, class Test> Item* unlinkFirst(SimpleArray& buckets, int32_t bucket, Test test) {
    Item* previous = nullptr;
    for (Item* item = head<Item>(buckets, bucket); item; previous = item, item = item->next) {
        if (!test(item)) continue;
        if (previous)
            previous->next = item->next;
        else
            buckets[bucket] = reinterpret_cast<intptr_t>(item->next);
        return item;
    }
    return nullptr;
}

// Walks every item in iteration order, reading the successor before calling keep(item). Items for
// which keep returns false are unlinked and pushed onto `detached`. Returns whether any was.
template <class Item, class Keep> bool walk(SimpleArray& buckets, Item*& detached, Keep keep) {
    bool dropped = false;
    for (int32_t b = 0; b < buckets.length(); ++b) {
        Item* previous = nullptr;
        for (Item* item = head<Item>(buckets, b); item;) {
            Item* next = item->next;
            if (keep(item)) {
                previous = item;
            } else {
                if (previous)
                    previous->next = next;
                else
                    buckets[b] = reinterpret_cast<intptr_t>(next);
                item->next = detached;
                detached = item;
                dropped = true;
            }
            item = next;
        }
    }
    return dropped;
}

// Deletes every item, linked or detached, and drops the buckets.
template <class Item> void freeAll(SimpleArray& buckets, Item*& detached) {
    for (int32_t b = 0, end = buckets.length(); b < end; ++b) {
        for (Item* item = head<Item>(buckets, b); item;) {
            Item* next = item->next;
            delete item;
            item = next;
        }
    }
    buckets.erase();
    while (detached) {
        Item* next = detached->next;
        delete detached;
        detached = next;
    }
}

// Bucket counts equal and every chain holding equal items in the same order.
template <class Item, class Same> bool sameChains(const SimpleArray& a, const SimpleArray& b, Same same) {
    if (a.length() != b.length()) return false;
    for (int32_t i = 0, end = a.length(); i < end; ++i) {
        const Item* x = head<Item>(a, i);
        const Item* y = head<Item>(b, i);
        for (; x && y; x = x->next, y = y->next)
            if (!same(x, y)) return false;
        if (x || y) return false;
    }
    return true;
}

} // namespace chains
} // namespace Quarn

#endif
