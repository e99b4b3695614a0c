// HashTable: a map from String keys to word values (integers, or pointers the caller owns). Every
// lookup chooses case-sensitive or case-insensitive matching, which is why the hash itself ignores
// case. Entries are chained in buckets whose count doubles and halves with the load.
#ifndef QUARN_HASHTABLE_H
#define QUARN_HASHTABLE_H

#include <quarn/SimpleArray.h>
#include <quarn/String.h>

namespace Quarn {

// One entry, owned by its table. The item is its key, so a HashItem* can be handed out as a
// const String*; the hash is kept so that rehashing never looks at the text again.
class HashItem : public String, public Heap {
public:
    HashItem(const String& key, uint32_t hash, intptr_t value)
        : String(key), next(nullptr), hash(hash), value(value) {}

    HashItem* next;
    uint32_t hash;
    intptr_t value;
};

// Keys match unit for unit: exactly, or, with ignoreCase, after folding both sides through
// UnicodeUtils::towupper. Walks (getKeys, getData, findKey, forEach, operator+=, operator==) visit
// the buckets from 0 upward and each chain from its head, so within a bucket later insertions come
// first. The table never touches what values point to.
class QUARN_API HashTable {
public:
    HashTable() : count(0), detached(nullptr) {}
    HashTable(const HashTable& other);
    // Empties this table, then sets every entry of other.
    HashTable& operator=(const HashTable& other);
    ~HashTable() { erase(); }

    // set(key, value, false) for every entry of other, in its walking order.
    HashTable& operator+=(const HashTable& other);

    // Equal only with the same bucket count and, in every chain, the same keys (case-sensitive) with
    // the same values in the same order: tables with the same entries but different histories (a
    // copy among them, whose chains are built in reverse) may compare unequal.
    bool operator==(const HashTable& other) const;
    bool operator!=(const HashTable& other) const { return !(*this == other); }

    // Destroys every entry (and every entry forEach unlinked); no buckets are left.
    void erase();

    // Sets the value of key and returns the stored key. When an entry matches under ignoreCase, its
    // key takes the new spelling.
    const String& set(const String& key, intptr_t value, bool ignoreCase = false);

    // The value, or 0 when absent (a stored 0 looks the same: use hasKey).
    intptr_t find(const String& key, bool ignoreCase = false) const;
    intptr_t find(const unsigned short* key, bool ignoreCase = false) const;
    intptr_t find(const char16_t* key, bool ignoreCase = false) const { return find(u16(key), ignoreCase); }
    intptr_t operator[](const String& key) const { return find(key, false); }
    intptr_t operator[](const unsigned short* key) const { return find(key, false); }
    intptr_t operator[](const char16_t* key) const { return find(u16(key), false); }
    bool hasKey(const String& key, bool ignoreCase = false) const {
        return findItem(key, ignoreCase) != nullptr;
    }
    bool hasKey(const unsigned short* key, bool ignoreCase = false) const {
        return findItem(key, ignoreCase) != nullptr;
    }
    bool hasKey(const char16_t* key, bool ignoreCase = false) const { return hasKey(u16(key), ignoreCase); }

    // The key of the first entry holding value, or null.
    const String* findKey(intptr_t value) const;

    // Removes the entry and returns its value (0 when absent); the table may shrink.
    intptr_t remove(const String& key, bool ignoreCase = false);
    intptr_t remove(const unsigned short* key, bool ignoreCase = false);
    intptr_t remove(const char16_t* key, bool ignoreCase = false) { return remove(u16(key), ignoreCase); }
    // Removes every entry holding value.
    void removeData(intptr_t value);

    // The number of entries, including those forEach unlinked (see there).
    int32_t length() const { return count; }
    // keys becomes the keys of the entries, in walking order; they live as long as their entries.
    void getKeys(TSimpleArray<const String>& keys) const;
    // values becomes every distinct non-zero value, in walking order of first appearance.
    void getData(SimpleArray& values) const;

    // Calls fn(key, address of the value, data) for every entry; the callback may change the value.
    // When it returns false the entry is unlinked: the table no longer finds it, but its count still
    // includes it and the table keeps the entry (so the key the callback saw stays valid) until
    // erase() or destruction frees it. The callback takes nothing over and nothing leaks. The table
    // may then shrink. The callback must not add or remove entries of this table.
    void forEach(bool (*fn)(const String& key, intptr_t* value, intptr_t data), intptr_t data);

    // The hash of a key: up to its first 5 units, each folded to upper case, h = h * 2 + unit in
    // 32-bit arithmetic. Keys sharing a 5-unit prefix (ignoring case) therefore always collide: a
    // cheap hash is worth more here than an even spread.
    static uint32_t hashKey(const String& key);
    static uint32_t hashKey(const unsigned short* key);

protected:
    HashItem* findItem(const String& key, bool ignoreCase) const;
    HashItem* findItem(const unsigned short* key, bool ignoreCase) const;
    // The load rules: before inserting a new key, and after removing entries.
    void smartGrow();
    void smartShrink();

private:
    static const unsigned short* u16(const char16_t* text) {
        return reinterpret_cast<const unsigned short*>(text);
    }
    template <class Key> intptr_t removeKey(const Key& key, bool ignoreCase);

    int32_t count;
    // Heads of the chains (0 for an empty chain); its length is the bucket count.
    SimpleArray buckets;
    // Entries forEach unlinked, chained through next; freed by erase().
    HashItem* detached;

    friend struct HashTableAccess;
};

} // namespace Quarn

#endif
