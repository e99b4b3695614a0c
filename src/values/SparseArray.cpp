#include "values/ChainedBuckets.h"

#include <quarn/SparseArray.h>

namespace Quarn {

namespace {
inline uint32_t hashOfKey(int32_t key) {
    return static_cast<uint32_t>(key);
}
inline uint32_t hashOfItem(const ArrayItem* item) {
    return hashOfKey(item->key);
}
} // namespace

SparseArray::SparseArray(const SparseArray& other) : count(0), detached(nullptr) {
    // A throwing constructor runs no destructor: free what was already copied.
    try {
        *this += other;
    } catch (...) {
        erase();
        throw;
    }
}

SparseArray& SparseArray::operator=(const SparseArray& other) {
    if (this == &other) return *this;
    erase();
    return *this += other;
}

SparseArray& SparseArray::operator+=(const SparseArray& other) {
    chains::visitAll<const ArrayItem>(other.buckets,
                                      [this](const ArrayItem* item) { set(item->key, item->value); });
    return *this;
}

bool SparseArray::operator==(const SparseArray& other) const {
    return chains::sameChains<ArrayItem>(buckets, other.buckets, [](const ArrayItem* a, const ArrayItem* b) {
        return a->key == b->key && a->value == b->value;
    });
}

void SparseArray::erase() {
    chains::freeAll(buckets, detached);
    count = 0;
}

ArrayItem* SparseArray::findItem(int32_t key) const {
    int32_t n = buckets.length();
    if (n == 0) return nullptr;
    for (ArrayItem* item = chains::head<ArrayItem>(buckets, chains::bucketOf(hashOfKey(key), n)); item;
         item = item->next)
        if (item->key == key) return item;
    return nullptr;
}

void SparseArray::smartGrow() {
    chains::grow<ArrayItem>(buckets, count, hashOfItem);
}

void SparseArray::smartShrink() {
    chains::shrink<ArrayItem>(buckets, count, hashOfItem);
}

void SparseArray::set(int32_t key, intptr_t value) {
    if (ArrayItem* item = findItem(key)) {
        item->value = value;
        return;
    }
    smartGrow();
    intptr_t& chain = buckets[chains::bucketOf(hashOfKey(key), buckets.length())];
    chain = reinterpret_cast<intptr_t>(new ArrayItem(reinterpret_cast<ArrayItem*>(chain), key, value));
    ++count;
}

int32_t SparseArray::findKey(intptr_t value) const {
    const ArrayItem* found = chains::firstWhere<const ArrayItem>(
        buckets, [value](const ArrayItem* item) { return item->value == value; });
    return found ? found->key : -1;
}

intptr_t SparseArray::remove(int32_t key) {
    int32_t n = buckets.length();
    if (n == 0) return 0;
    ArrayItem* item =
        chains::unlinkFirst<ArrayItem>(buckets, chains::bucketOf(hashOfKey(key), n),
                                       [key](const ArrayItem* candidate) { return candidate->key == key; });
    if (!item) return 0;
    intptr_t value = item->value;
    delete item;
    --count;
    smartShrink();
    return value;
}

void SparseArray::removeData(intptr_t value) {
    SimpleArray keys;
    chains::visitAll<const ArrayItem>(buckets, [&](const ArrayItem* item) {
        if (item->value == value) keys.append(item->key);
    });
    for (int32_t i = 0; i < keys.length(); ++i)
        remove(static_cast<int32_t>(keys[i]));
}

void SparseArray::getKeys(SimpleArray& keys) const {
    keys.setSize(count);
    int32_t written = 0;
    chains::visitAll<const ArrayItem>(buckets, [&](const ArrayItem* item) { keys[written++] = item->key; });
    // Entries unlinked by forEach are still counted but no longer reachable.
    if (written < count) keys.setSize(written);
}

void SparseArray::getData(SimpleArray& values) const {
    chains::distinctValues<ArrayItem>(buckets, values);
}

void SparseArray::forEach(bool (*fn)(int32_t key, intptr_t* value, intptr_t data), intptr_t data) {
    if (count == 0) return;
    bool dropped =
        chains::walk(buckets, detached, [&](ArrayItem* item) { return fn(item->key, &item->value, data); });
    if (dropped) smartShrink();
}

} // namespace Quarn
