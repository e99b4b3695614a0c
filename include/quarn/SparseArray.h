// SparseArray: a map from 32-bit integer keys to word values (integers, or pointers the caller owns)
// in a chained hash table whose bucket count doubles and halves with the load. It backs the sparse
// form of script arrays and other tables keyed by number; keys may be negative and need not be dense.
#ifndef QUARN_SPARSEARRAY_H
#define QUARN_SPARSEARRAY_H

#include <quarn/SimpleArray.h>

namespace Quarn {

// One entry, owned by its table.
struct ArrayItem : public Heap {
    ArrayItem(ArrayItem* next, int32_t key, intptr_t value) : next(next), key(key), value(value) {}

    ArrayItem* next;
    int32_t key;
    intptr_t value;
};

// Walks (getKeys, getData, findKey, forEach, operator+=, operator==) visit the buckets from 0 upward
// and each chain from its head, so within a bucket later insertions come first. The bucket of a key
// is the key taken as unsigned modulo the bucket count. The table never touches what values point to.
class QUARN_API SparseArray {
public:
    SparseArray() : count(0), detached(nullptr) {}
    SparseArray(const SparseArray& other);
    // Empties this table, then sets every entry of other.
    SparseArray& operator=(const SparseArray& other);
    ~SparseArray() { erase(); }

    // set(key, value) for every entry of other, in its walking order.
    SparseArray& operator+=(const SparseArray& other);

    // Equal only with the same bucket count and the same keys and values in the same order in every
    // chain: tables with the same entries but different histories may compare unequal.
    bool operator==(const SparseArray& other) const;
    bool operator!=(const SparseArray& other) const { return !(*this == other); }

    // Frees every entry (and every entry forEach unlinked); no buckets are left.
    void erase();

    void set(int32_t key, intptr_t value);
    // The value, or 0 when absent (use hasKey to tell a stored 0 from a missing key).
    intptr_t find(int32_t key) const {
        const ArrayItem* item = findItem(key);
        return item ? item->value : 0;
    }
    intptr_t operator[](int32_t key) const { return find(key); }
    bool hasKey(int32_t key) const { return findItem(key) != nullptr; }
    // The key of the first entry holding value, or -1.
    int32_t findKey(intptr_t value) const;
    // Removes the entry and returns its value (0 when absent); the table may shrink.
    intptr_t remove(int32_t key);
    // Removes every entry holding value.
    void removeData(intptr_t value);

    // The number of entries, including those forEach unlinked (see there).
    int32_t length() const { return count; }
    // keys becomes the keys of the entries, in walking order.
    void getKeys(SimpleArray& keys) const;
    // values becomes every distinct non-zero value, in walking order of first appearance.
    void getData(SimpleArray& values) const;

    // Calls fn(key, address of the value, data) for every entry; the callback may change the value.
    // When it returns false the entry is unlinked: the table no longer finds it, but its count still
    // includes it and the table keeps the entry until erase() or destruction frees it, so nothing
    // leaks and the callback needs to free nothing. The table may then shrink. The callback must not
    // add or remove entries of this table. A callback that frees what a value points to should zero
    // the value and return true.
    void forEach(bool (*fn)(int32_t key, intptr_t* value, intptr_t data), intptr_t data);

protected:
    ArrayItem* findItem(int32_t key) const;
    // The load rules: before inserting a new key, and after removing entries.
    void smartGrow();
    void smartShrink();

private:
    int32_t count;
    // Heads of the chains (0 for an empty chain); its length is the bucket count.
    SimpleArray buckets;
    // Entries forEach unlinked, chained through next; freed by erase().
    ArrayItem* detached;

    friend struct SparseArrayAccess;
};

} // namespace Quarn

#endif
