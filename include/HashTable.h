// A fixed-size chained hash table keyed by pointer-sized integers, and `omi_nextPrime`, which
// picks its sizes.
//
// `HashTable<K, V>` keeps one chain of entries per bucket; the bucket count is fixed when the
// table is made (there is no rehashing). Hash and equality functions are given per call, null
// for the defaults. A position (`iterState`) is a bucket and the 1-based place of the entry in
// its chain; offset 0 means the end. The table owns its entries; it cannot be copied, is not
// shared and takes no locks. Instances: <unsigned int, void*> and <void*, unsigned int>.
#pragma once

#include "crt_Assert.h"
#include "vlt_Export.h"

#include <cstdint>
#include <new>

// An iteration position: offset 0 means that the iteration has ended.
struct iterState {
    unsigned bucket;
    unsigned offset;
};

// The default hash of both key types: the key shifted right by 2 bits (pointers are at least
// 4-byte aligned), modulo the bucket count.
VLTUTL_API unsigned HashValue(unsigned int key, unsigned bucketCount);
VLTUTL_API unsigned HashValue(void* key, unsigned bucketCount);

// The next candidate table size at or above n: a number of the form 6k +/- 1 that passes a
// trial division. The small results are deliberate and kept: 1 for 1, and 5 and 7 are never
// returned (2 to 11 give 11). 0 gives 0, and so does an n above the largest 32-bit prime.
VLTUTL_API unsigned omi_nextPrime(unsigned n);

namespace vlt::detail {
inline constexpr char HashTablePath[] = "include/HashTable";

// The default hash, inline for the tables' own look-ups; `HashValue` gives the same numbers.
inline unsigned omi_DefaultHash(unsigned int key, unsigned bucketCount) {
    return (key >> 2) % bucketCount;
}
inline unsigned omi_DefaultHash(void* key, unsigned bucketCount) {
    return static_cast<unsigned>((reinterpret_cast<std::uintptr_t>(key) >> 2) % bucketCount);
}
} // namespace vlt::detail

// The members are defined inline: a look-up is a few instructions around one or two cache
// misses, and a call into the library per step would cost as much again.
template <class K, class V>
class HashTable {
public:
    typedef unsigned (*HashFunction)(const K& key, unsigned bucketCount);
    typedef bool (*EqualFunction)(const K& a, const K& b);
    using iterState = ::iterState;

    explicit HashTable(unsigned bucketCount);
    HashTable(const HashTable&) = delete;
    HashTable& operator=(const HashTable&) = delete;
    ~HashTable();

    // Stores value under key; a key already present gets the new value.
    void Insert(const K& key, const V& value, HashFunction hash = nullptr,
                EqualFunction equal = nullptr);
    bool LookUp(const K& key, V& value, HashFunction hash = nullptr,
                EqualFunction equal = nullptr) const;
    // Removes the key's entry; true when there was one. A running iteration must restart.
    bool Delete(const K& key, HashFunction hash = nullptr, EqualFunction equal = nullptr);
    // Frees every entry; the buckets stay.
    void Clear();

    iterState First() const { return FirstFrom(0); }
    iterState Next(const iterState& pos) const;
    K CurrentKey(const iterState& pos) const;
    V CurrentValue(const iterState& pos) const;

    unsigned BucketCount() const { return bucketCount; }

private:
    struct Entry {
        K key;
        V value;
        Entry* next;
    };

    // The head of the chain that holds key.
    Entry** ChainOf(const K& key, HashFunction hash) const;
    // The link of the chain at head that points at key's entry, or at the null that ends it.
    static Entry** Find(Entry** head, const K& key, EqualFunction equal);
    iterState FirstFrom(unsigned bucket) const;
    const Entry* EntryAt(const iterState& pos) const;

    Entry** array_;
    unsigned bucketCount;
};

template <class K, class V>
HashTable<K, V>::HashTable(unsigned bucketCount_)
    // A table without buckets could hold nothing: it gets one.
    : array_(new (std::nothrow) Entry*[bucketCount_ != 0 ? bucketCount_ : 1]()),
      bucketCount(bucketCount_ != 0 ? bucketCount_ : 1) {
    CRT_CHECK(array_ != nullptr, "array_ != 0", vlt::detail::HashTablePath);
    if (array_ == nullptr) {
        bucketCount = 0;
    }
}

template <class K, class V>
HashTable<K, V>::~HashTable() {
    Clear();
    delete[] array_;
}

template <class K, class V>
inline typename HashTable<K, V>::Entry** HashTable<K, V>::ChainOf(const K& key,
                                                                  HashFunction hash) const {
    if (hash == nullptr) {
        return &array_[vlt::detail::omi_DefaultHash(key, bucketCount)];
    }
    const unsigned bucket = hash(key, bucketCount);
    // A caller's hash that leaves the table is folded back in rather than trusted.
    CRT_CHECK(bucket < bucketCount, "bucket < bucketCount", vlt::detail::HashTablePath);
    return &array_[bucket < bucketCount ? bucket : bucket % bucketCount];
}

template <class K, class V>
inline typename HashTable<K, V>::Entry** HashTable<K, V>::Find(Entry** head, const K& key,
                                                               EqualFunction equal) {
    Entry** link = head;
    while (*link != nullptr &&
           !(equal != nullptr ? equal((*link)->key, key) : (*link)->key == key)) {
        link = &(*link)->next;
    }
    return link;
}

template <class K, class V>
inline void HashTable<K, V>::Insert(const K& key, const V& value, HashFunction hash,
                                    EqualFunction equal) {
    if (bucketCount == 0) {
        return;
    }
    Entry** head = ChainOf(key, hash);
    if (Entry* found = *Find(head, key, equal)) {
        found->value = value;
        return;
    }
    Entry* entry = new (std::nothrow) Entry{key, value, *head};
    CRT_CHECK(entry != nullptr, "entry != 0", vlt::detail::HashTablePath);
    if (entry != nullptr) {
        *head = entry;
    }
}

template <class K, class V>
inline bool HashTable<K, V>::LookUp(const K& key, V& value, HashFunction hash,
                                    EqualFunction equal) const {
    if (bucketCount == 0) {
        return false;
    }
    const Entry* found = *Find(ChainOf(key, hash), key, equal);
    if (found != nullptr) {
        value = found->value;
    }
    return found != nullptr;
}

template <class K, class V>
inline bool HashTable<K, V>::Delete(const K& key, HashFunction hash, EqualFunction equal) {
    if (bucketCount == 0) {
        return false;
    }
    Entry** link = Find(ChainOf(key, hash), key, equal);
    Entry* found = *link;
    if (found == nullptr) {
        return false;
    }
    *link = found->next;
    delete found;
    return true;
}

template <class K, class V>
void HashTable<K, V>::Clear() {
    for (unsigned bucket = 0; bucket < bucketCount; ++bucket) {
        while (Entry* entry = array_[bucket]) {
            array_[bucket] = entry->next;
            delete entry;
        }
    }
}

template <class K, class V>
inline iterState HashTable<K, V>::FirstFrom(unsigned bucket) const {
    for (; bucket < bucketCount; ++bucket) {
        if (array_[bucket] != nullptr) {
            return {bucket, 1};
        }
    }
    return {0, 0};
}

template <class K, class V>
inline iterState HashTable<K, V>::Next(const iterState& pos) const {
    const Entry* entry = EntryAt(pos);
    if (entry == nullptr) {
        return {0, 0};
    }
    if (entry->next != nullptr) {
        return {pos.bucket, pos.offset + 1};
    }
    return FirstFrom(pos.bucket + 1);
}

template <class K, class V>
inline const typename HashTable<K, V>::Entry* HashTable<K, V>::EntryAt(const iterState& pos) const {
    if (pos.offset == 0 || pos.bucket >= bucketCount) {
        return nullptr;
    }
    const Entry* entry = array_[pos.bucket];
    for (unsigned step = 1; entry != nullptr && step < pos.offset; ++step) {
        entry = entry->next;
    }
    return entry;
}

template <class K, class V>
inline K HashTable<K, V>::CurrentKey(const iterState& pos) const {
    CRT_CHECK(pos.offset != 0, "pos.offset != 0", vlt::detail::HashTablePath);
    const Entry* entry = EntryAt(pos);
    return entry != nullptr ? entry->key : K();
}

template <class K, class V>
inline V HashTable<K, V>::CurrentValue(const iterState& pos) const {
    CRT_CHECK(pos.offset != 0, "pos.offset != 0", vlt::detail::HashTablePath);
    const Entry* entry = EntryAt(pos);
    return entry != nullptr ? entry->value : V();
}

extern template class VLTUTL_API HashTable<unsigned int, void*>;
extern template class VLTUTL_API HashTable<void*, unsigned int>;
