#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/HashTable.h>

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

using namespace Quarn;
using quarn_test::u16;

namespace Quarn {
struct HashTableAccess { // the bucket count, which the interface hides
    static int32_t buckets(const HashTable& t) { return t.buckets.length(); }
};
} // namespace Quarn

namespace {

using Keys = std::vector<std::u16string>;

Keys keysOf(const HashTable& t) {
    TSimpleArray<const String> keys;
    t.getKeys(keys);
    const TSimpleArray<const String>& view = keys;
    Keys out;
    for (int32_t i = 0; i < view.length(); ++i)
        out.push_back(u16(*view[i]));
    return out;
}

TEST(HashTable, HashFoldsCaseAndReadsFiveUnits) {
    EXPECT_EQ(HashTable::hashKey(static_cast<const unsigned short*>(nullptr)), 0u);
    EXPECT_EQ(HashTable::hashKey(String(u"abcdefghij")), ((((65u * 2 + 66) * 2 + 67) * 2 + 68) * 2 + 69));
    EXPECT_EQ(HashTable::hashKey(String(u"colorless")), HashTable::hashKey(u"COLORFUL"));
    EXPECT_EQ(HashTable::hashKey(u"\u00e9t\u00e9"), HashTable::hashKey(String(u"\u00c9T\u00c9"))); // towupper
}

TEST(HashTable, EachLookupChoosesItsCaseRule) {
    HashTable t;
    t.set(String(u"Color"), 1);
    // A caseless set replaces the value and takes the new spelling.
    EXPECT_EQ(u16(t.set(String(u"COLOR"), 2, true)), u"COLOR");
    EXPECT_EQ(keysOf(t), Keys({u"COLOR"}));
    // A case-sensitive set of another spelling is a new entry at the head of the same chain, which is
    // the one a caseless lookup finds first.
    t.set(String(u"color"), 3);
    EXPECT_EQ(t.find(u"COLOR", true), 3);
}

TEST(HashTable, LoadRulesDoubleAndHalveTheBuckets) {
    const char16_t* names[] = {u"a0", u"a1", u"a2", u"a3", u"a4", u"a5", u"a6", u"a7", u"a8", u"a9"};
    HashTable t;
    for (int i = 0; i < 9; ++i)
        t.set(String(names[i]), i + 1);
    EXPECT_EQ(HashTableAccess::buckets(t), 16); // the 9th saw 8 * 100 / 16 = 50
    t.set(String(names[9]), 10);                // the 10th saw 56
    EXPECT_EQ(HashTableAccess::buckets(t), 32);

    HashTable s;
    for (int i = 0; i < 5; ++i)
        s.set(String(names[i]), i + 1);
    EXPECT_EQ(s.remove(u"A0"), 0); // absent case-sensitively: nothing shrinks
    EXPECT_EQ(HashTableAccess::buckets(s), 16);
    EXPECT_EQ(s.remove(u"A0", true), 1);
    EXPECT_EQ(HashTableAccess::buckets(s), 8); // 4 * 100 / 16 = 25
}

TEST(HashTable, SearchingAndRemovingByValueWalkTheBucketsInOrder) {
    HashTable t; // one-unit keys hash to their code: A to D fill buckets 1 to 4
    for (auto [key, value] : {std::pair<const char16_t*, int>{u"A", 5}, {u"B", 0}, {u"C", 5}, {u"D", 7}})
        t.set(String(key), value);
    EXPECT_EQ(u16(*t.findKey(5)), u"A");
    t.removeData(5);
    EXPECT_EQ(keysOf(t), Keys({u"D", u"B"})); // shrunk to 4 buckets on the way
}

bool dropLowerCase(const String& key, intptr_t* value, intptr_t data) {
    *value += 100;
    if (key.wstr()[0] < 'a') return true;
    reinterpret_cast<std::vector<const String*>*>(data)->push_back(&key);
    return false;
}

// Kept exactly so: an entry the callback drops is unlinked but neither counted down nor destroyed.
TEST(HashTable, ForEachUnlinksWithoutCountingOrLeaking) {
    HashTable t;
    for (const char16_t* key : {u"A", u"a", u"Q", u"b"})
        t.set(String(key), 1); // A, a, Q share bucket 1
    std::vector<const String*> dropped;
    t.forEach(dropLowerCase, reinterpret_cast<intptr_t>(&dropped));
    EXPECT_EQ(t.find(u"Q"), 101);
    EXPECT_EQ(t.length(), 4); // still counted: 4 of 16 shrinks the table after the walk
    EXPECT_EQ(HashTableAccess::buckets(t), 8);
    EXPECT_EQ(keysOf(t), Keys({u"A", u"Q"}));
    ASSERT_EQ(dropped.size(), 2u);
    EXPECT_EQ(u16(*dropped[0]), u"a"); // the keys the callback saw stay alive with the table
    EXPECT_EQ(u16(*dropped[1]), u"b");
    // The suite's live-block check proves the table still frees them.
}

TEST(HashTable, CopiesHoldTheSameEntriesButMayCompareUnequal) {
    HashTable a;
    a.set(String(u"A"), 1);
    a.set(String(u"B"), 2);
    HashTable b(a);
    EXPECT_EQ(a, b);
    // Same entries, different history: a copy rebuilds a chain in walking order, reversing it.
    a.set(String(u"Q"), 4); // same bucket as A
    b = a;
    EXPECT_NE(a, b);
    // Keys compare case-sensitively, and += sets case-sensitively.
    HashTable upper, lower;
    upper.set(String(u"KEY"), 1);
    lower.set(String(u"key"), 1);
    EXPECT_NE(upper, lower);
    upper += lower;
    EXPECT_EQ(upper.length(), 2);
    lower = lower;
    EXPECT_EQ(lower.length(), 1);
}

TEST(HashTable, ExhaustionKeepsTheTableConsistent) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    {
        String key(u"name");
        HashTable t;
        allocator.failAt(2); // the item, after the first buckets
        EXPECT_THROW(t.set(key, 1), std::bad_alloc);
        EXPECT_FALSE(t.hasKey(key));
        t.set(key, 1);
        allocator.failAt(1); // the shrink cannot allocate; the removal still happens
        EXPECT_EQ(t.remove(key), 1);
        EXPECT_EQ(t.length(), 0);
        for (const char16_t* k : {u"one", u"two", u"three"})
            t.set(String(k), 1);
        allocator.failAt(2);
        EXPECT_THROW(HashTable copy(t), std::bad_alloc);
        allocator.failAt(0);
    }
    EXPECT_EQ(allocator.outstanding, 0);
}

} // namespace
