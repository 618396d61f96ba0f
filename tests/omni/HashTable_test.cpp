#include "AssertRecorder.h"
#include "HashTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

using MarkerTable = HashTable<unsigned int, void*>;
using AddressTable = HashTable<void*, unsigned int>;

void* Address(std::uintptr_t value) {
    return reinterpret_cast<void*>(value);
}

template <class K, class V>
std::vector<std::pair<K, V>> Walk(const HashTable<K, V>& table) {
    std::vector<std::pair<K, V>> entries;
    for (iterState pos = table.First(); pos.offset != 0; pos = table.Next(pos)) {
        entries.emplace_back(table.CurrentKey(pos), table.CurrentValue(pos));
    }
    return entries;
}

TEST(HashTableDefaults, HashIsTheKeyWithoutItsAlignmentBitsModuloTheBuckets) {
    EXPECT_EQ(HashValue(13u, 7), 3u);
    EXPECT_EQ(HashValue(0xFFFFFFFFu, 1000), 0x3FFFFFFFu % 1000);
    EXPECT_EQ(HashValue(Address(0x1000), 7), 0x400u % 7);
    MarkerTable table(10);
    table.Insert(44, nullptr); // 44 >> 2 = 11: bucket 1
    EXPECT_EQ(table.First().bucket, 1u);
    EXPECT_EQ(table.First().offset, 1u);
}

TEST(HashTableEntries, NewEntriesGoToTheHeadOfTheirChain) {
    MarkerTable table(1);
    table.Insert(4, Address(1));
    table.Insert(8, Address(2));
    table.Insert(12, Address(3));
    std::vector<std::pair<unsigned, unsigned>> positions;
    for (iterState pos = table.First(); pos.offset != 0; pos = table.Next(pos)) {
        positions.emplace_back(pos.offset, table.CurrentKey(pos));
    }
    EXPECT_EQ(positions, (std::vector<std::pair<unsigned, unsigned>>{{1, 12}, {2, 8}, {3, 4}}));
}

TEST(HashTableEntries, IterationVisitsBucketsInOrder) {
    MarkerTable table(8);
    for (unsigned key : {28u, 4u, 36u, 8u}) { // buckets 7, 1, 1, 2
        table.Insert(key, Address(key));
    }
    std::vector<unsigned> keys;
    for (const auto& [key, value] : Walk(table)) {
        keys.push_back(key);
        EXPECT_EQ(value, Address(key));
    }
    EXPECT_EQ(keys, (std::vector<unsigned>{36, 4, 8, 28}));
}

TEST(HashTableEntries, EmptyOrClearedTableStartsAtTheEndAndKeepsItsBuckets) {
    AddressTable table(5);
    EXPECT_EQ(table.First().bucket, 0u);
    EXPECT_EQ(table.First().offset, 0u);
    table.Insert(Address(8), 1);
    table.Insert(Address(16), 2);
    table.Clear();
    EXPECT_EQ(table.First().offset, 0u);
    EXPECT_EQ(table.BucketCount(), 5u);
    table.Insert(Address(8), 3);
    EXPECT_EQ(Walk(table), (std::vector<std::pair<void*, unsigned>>{{Address(8), 3}}));
}

unsigned HundredsHash(const unsigned& key, unsigned buckets) {
    return (key % 100) % buckets;
}
bool SameHundreds(const unsigned& a, const unsigned& b) {
    return a % 100 == b % 100;
}

TEST(HashTableFunctions, CallerHashAndEqualityDecideWhichKeysMatch) {
    MarkerTable table(13);
    table.Insert(5, Address(1), HundredsHash, SameHundreds);
    table.Insert(105, Address(2), HundredsHash, SameHundreds);
    void* value = nullptr;
    EXPECT_TRUE(table.LookUp(205, value, HundredsHash, SameHundreds));
    EXPECT_EQ(value, Address(2));
    EXPECT_EQ(Walk(table), (std::vector<std::pair<unsigned, void*>>{{5, Address(2)}}));
    EXPECT_FALSE(table.LookUp(205, value)); // plain equality
    EXPECT_TRUE(table.Delete(305, HundredsHash, SameHundreds));
    EXPECT_EQ(table.First().offset, 0u);
}

unsigned WildHash(const unsigned& key, unsigned buckets) {
    return key + buckets;
}

TEST(HashTableMisuse, HashOutsideTheTableIsReportedAndFoldedBack) {
    AssertRecorder recorder;
    MarkerTable table(4);
    table.Insert(1, Address(8), WildHash);
    void* value = nullptr;
    EXPECT_TRUE(table.LookUp(1, value, WildHash));
    EXPECT_EQ(value, Address(8));
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"bucket < bucketCount", "bucket < bucketCount"}));
    EXPECT_EQ(recorder.Reports()[0].path, "include/HashTable");
}

TEST(HashTableMisuse, ReadingAtTheEndIsReportedAndGivesZero) {
    AssertRecorder recorder;
    MarkerTable table(3);
    table.Insert(4, Address(4));
    const iterState end = table.Next(table.First());
    EXPECT_EQ(end.offset, 0u);
    EXPECT_EQ(table.CurrentKey(end), 0u);
    EXPECT_EQ(table.CurrentValue(end), nullptr);
    EXPECT_EQ(table.CurrentValue({2, 7}), nullptr); // past the chain: no report, no read
    ASSERT_EQ(recorder.Reports().size(), 2u);
    EXPECT_EQ(recorder.Reports()[0].expression, "pos.offset != 0");
    EXPECT_EQ(recorder.Reports()[0].path, "include/HashTable");
}

TEST(HashTableRandom, AgreesWithAMapUnderInsertsAndDeletes) {
    std::mt19937 rng(5);
    std::uniform_int_distribution<std::uintptr_t> word(0, 4000);
    AddressTable table(61);
    std::map<void*, unsigned> oracle;
    for (unsigned step = 0; step < 20000; ++step) {
        void* key = Address(word(rng) * 8);
        if (rng() % 3 == 0) {
            EXPECT_EQ(table.Delete(key), oracle.erase(key) == 1);
        } else {
            table.Insert(key, step);
            oracle[key] = step;
        }
    }
    auto entries = Walk(table);
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(entries, (std::vector<std::pair<void*, unsigned>>(oracle.begin(), oracle.end())));
    for (std::uintptr_t w = 0; w <= 4000; w += 7) {
        unsigned value = 0;
        const auto found = oracle.find(Address(w * 8));
        ASSERT_EQ(table.LookUp(Address(w * 8), value), found != oracle.end());
        if (found != oracle.end()) {
            EXPECT_EQ(value, found->second);
        }
    }
}

TEST(NextPrime, SmallNumbersGiveTheLibrarysOwnResults) {
    EXPECT_EQ(omi_nextPrime(0), 0u);
    EXPECT_EQ(omi_nextPrime(1), 1u);
    for (unsigned n = 2; n <= 11; ++n) {
        EXPECT_EQ(omi_nextPrime(n), 11u) << n;
    }
}

bool IsPrime(unsigned n) {
    if (n < 2) {
        return false;
    }
    for (unsigned d = 2; d * d <= n; ++d) {
        if (n % d == 0) {
            return false;
        }
    }
    return true;
}

TEST(NextPrime, FromElevenOnItIsTheSmallestPrimeNotBelow) {
    unsigned expected = 0;
    for (unsigned n = 50000; n >= 8; --n) {
        if (IsPrime(n)) {
            expected = n;
        }
        if (expected != 0) {
            ASSERT_EQ(omi_nextPrime(n), expected) << n;
        }
    }
}

TEST(NextPrime, TopOfTheRange) {
    EXPECT_EQ(omi_nextPrime(4294967291u), 4294967291u); // the largest 32-bit prime
    EXPECT_EQ(omi_nextPrime(4294967280u), 4294967291u);
    EXPECT_EQ(omi_nextPrime(4294967292u), 0u);
    EXPECT_EQ(omi_nextPrime(0xFFFFFFFFu), 0u);
}

} // namespace
