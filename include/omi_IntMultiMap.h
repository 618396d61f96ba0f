// A table from signed integers to several values per key.
//
// `omi_IntMultiMap<T>` is an `omi_IntTable` whose cells hold the head of a chain of links, one
// link per value, newest first. Links come from a pool of 256-link chunks; removed links stay
// in the pool until it is rebuilt (`SortValues`, `CompressValues`), which happens by itself
// when at least two thirds of the pool is dead. The map owns its pool; it cannot be copied, is
// not shared and takes no locks. `omi_IntMultiMapIterator` visits (key, value) pairs: keys in
// ascending order, each key's values in chain order; `begin()`/`end()` walk the same way with
// it, reading each pair as the key and a reference to the value in its link.
#pragma once

#include "crt_Assert.h"
#include "omi_IntTable.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <cstddef>

namespace vlt::detail {
inline constexpr char omi_IntMultiMapPath[] = "include/omi_IntMultiMap";
} // namespace vlt::detail

template <class T>
class omi_IntMultiMapIterator;

template <class T>
class omi_IntMultiMap : public omi_IntTable<void*> {
public:
    // Orders two values: negative when a comes first.
    typedef int (*CompareFunction)(const T& a, const T& b);
    using iterator = vlt::detail::vlt_ForwardIterator<
        vlt::detail::omi_TableCursor<omi_IntMultiMapIterator<T>, T>>;
    using const_iterator = vlt::detail::vlt_ForwardIterator<
        vlt::detail::omi_TableCursor<omi_IntMultiMapIterator<T>, const T>>;

    omi_IntMultiMap();
    omi_IntMultiMap(const omi_IntMultiMap&) = delete;
    omi_IntMultiMap& operator=(const omi_IntMultiMap&) = delete;
    ~omi_IntMultiMap() override;
    // The links belong to the pool: a table copy would share them.
    omi_IntTable<void*>* Copy() const = delete;

    // Adds value at the head of key's chain; always true.
    bool Insert(int key, const T& value);
    using omi_IntTable<void*>::IsMember;
    bool IsMember(int key, const T& value) const;
    // Removes every value of key; false when it has none.
    bool Remove(int key);
    // Removes the first value of key's chain equal to value; false when there is none.
    bool Remove(int key, const T& value);
    // Removes every key and frees the pool.
    void Clear();
    // Rebuilds the pool with each key's values ordered by compare (ties: the later value first).
    void SortValues(CompareFunction compare);
    // Rebuilds the pool, dropping dead links. This reverses every chain: deliberate, it is
    // `SortValues` with a comparison that ranks all values equal.
    void CompressValues() { SortValues(DefaultCompare); }

    // The number of values stored.
    unsigned ValueCount() const { return valueCount; }
    // Values, not keys, as the walk below visits them.
    size_type size() const { return valueCount; }
    bool empty() const { return valueCount == 0; }

    // The table's own walk would hand out the chains' heads.
    const_iterator begin() const { return const_iterator(typename const_iterator::Cursor(*this)); }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(typename iterator::Cursor(*this)); }
    iterator end() { return {}; }
    // The number of links handed out since the pool was last rebuilt, dead ones included.
    unsigned LinkCount() const { return linkCount; }

private:
    friend class omi_IntMultiMapIterator<T>;

    static constexpr unsigned linksPerChunk = 256;
    struct Link {
        T value;
        Link* next;
    };
    struct Chunk {
        Link links[linksPerChunk];
        Chunk* next;
    };

    static int DefaultCompare(const T&, const T&) { return 0; }
    Link* Head(int key) const {
        void* const* cell = ConstGet(key);
        return cell != nullptr ? static_cast<Link*>(*cell) : nullptr;
    }
    Link* NewLink(const T& value);
    static void FreeChunks(Chunk* chunk);
    // Clears an emptied map, or compacts a pool that is mostly dead.
    void AfterRemoval();

    unsigned valueCount;
    unsigned linkCount;
    Chunk* chunks;
    unsigned chunkFill;
};

template <class T>
class omi_IntMultiMapIterator {
public:
    explicit omi_IntMultiMapIterator(const omi_IntMultiMap<T>& map);

    void First();
    void Next();
    bool IsDone() const { return keys.IsDone(); }
    int CurrentKey() const { return keys.CurrentKey(); }
    // The current value; zero once the iteration is done.
    T CurrentValue() const { return link != nullptr ? link->value : T(); }

private:
    template <class Iterator, class Value>
    friend class vlt::detail::omi_TableCursor;
    using Link = typename omi_IntMultiMap<T>::Link;

    const T* CurrentAddress() const { return link != nullptr ? &link->value : nullptr; }

    void EnterKey() {
        link = keys.IsDone() ? nullptr : static_cast<const Link*>(keys.CurrentValue());
    }

    omi_IntTableIterator<void*> keys;
    const Link* link;
};

template <class T>
omi_IntMultiMap<T>::omi_IntMultiMap()
    : valueCount(0), linkCount(0), chunks(nullptr), chunkFill(linksPerChunk) {}

template <class T>
omi_IntMultiMap<T>::~omi_IntMultiMap() {
    FreeChunks(chunks);
}

template <class T>
typename omi_IntMultiMap<T>::Link* omi_IntMultiMap<T>::NewLink(const T& value) {
    if (chunkFill == linksPerChunk) {
        Chunk* chunk = new Chunk;
        chunk->next = chunks;
        chunks = chunk;
        chunkFill = 0;
    }
    Link* link = &chunks->links[chunkFill++];
    link->value = value;
    link->next = nullptr;
    ++linkCount;
    return link;
}

template <class T>
void omi_IntMultiMap<T>::FreeChunks(Chunk* chunk) {
    while (chunk != nullptr) {
        delete std::exchange(chunk, chunk->next);
    }
}

template <class T>
bool omi_IntMultiMap<T>::Insert(int key, const T& value) {
    Link* link = NewLink(value);
    if (void** cell = Get(key)) {
        link->next = static_cast<Link*>(*cell);
        *cell = link;
    } else {
        omi_IntTable<void*>::Insert(key, link);
    }
    ++valueCount;
    return true;
}

template <class T>
bool omi_IntMultiMap<T>::IsMember(int key, const T& value) const {
    for (const Link* link = Head(key); link != nullptr; link = link->next) {
        if (link->value == value) {
            return true;
        }
    }
    return false;
}

template <class T>
bool omi_IntMultiMap<T>::Remove(int key) {
    const Link* head = Head(key);
    if (head == nullptr) {
        return false;
    }
    for (const Link* link = head; link != nullptr; link = link->next) {
        --valueCount;
    }
    omi_IntTable<void*>::Remove(key);
    AfterRemoval();
    return true;
}

template <class T>
bool omi_IntMultiMap<T>::Remove(int key, const T& value) {
    void** cell = Get(key);
    if (cell == nullptr) {
        return false;
    }
    Link* head = static_cast<Link*>(*cell);
    if (head->value == value) {
        *cell = head->next;
        if (head->next == nullptr) {
            omi_IntTable<void*>::Remove(key);
        }
    } else {
        Link* before = head;
        while (before->next != nullptr && !(before->next->value == value)) {
            before = before->next;
        }
        if (before->next == nullptr) {
            return false;
        }
        before->next = before->next->next;
    }
    --valueCount;
    AfterRemoval();
    return true;
}

template <class T>
void omi_IntMultiMap<T>::AfterRemoval() {
    if (valueCount == 0) {
        Clear();
    } else if (linkCount > linksPerChunk && linkCount >= 3 * valueCount) {
        CompressValues();
    }
}

template <class T>
void omi_IntMultiMap<T>::Clear() {
    omi_IntTable<void*>::Clear();
    FreeChunks(chunks);
    chunks = nullptr;
    chunkFill = linksPerChunk;
    valueCount = 0;
    linkCount = 0;
}

template <class T>
void omi_IntMultiMap<T>::SortValues(CompareFunction compare) {
    Chunk* old = std::exchange(chunks, nullptr);
    chunkFill = linksPerChunk;
    linkCount = 0;
    omi_IntTableIterator<void*> keys(*this);
    for (keys.First(); !keys.IsDone(); keys.Next()) {
        void** cell = Get(keys.CurrentKey());
        Link* sorted = nullptr;
        for (const Link* link = static_cast<Link*>(*cell); link != nullptr; link = link->next) {
            Link* fresh = NewLink(link->value);
            Link** at = &sorted;
            while (*at != nullptr && compare((*at)->value, fresh->value) < 0) {
                at = &(*at)->next;
            }
            fresh->next = *at;
            *at = fresh;
        }
        *cell = sorted;
    }
    CRT_CHECK(linkCount == valueCount, "maxLinkCount == multiMapSize",
              vlt::detail::omi_IntMultiMapPath);
    FreeChunks(old);
}

template <class T>
omi_IntMultiMapIterator<T>::omi_IntMultiMapIterator(const omi_IntMultiMap<T>& map)
    : keys(map), link(nullptr) {}

template <class T>
void omi_IntMultiMapIterator<T>::First() {
    keys.First();
    EnterKey();
}

template <class T>
void omi_IntMultiMapIterator<T>::Next() {
    if (link != nullptr && link->next != nullptr) {
        link = link->next;
        return;
    }
    keys.Next();
    if (link != nullptr) {
        EnterKey();
    }
}

extern template class VLTUTL_API omi_IntMultiMap<int>;
extern template class VLTUTL_API omi_IntMultiMapIterator<int>;
