// One dictionary: a GNU message catalogue (".mo") read whole from its file, checked once, then
// only read.
//
// Every offset, length and count in the file is checked when it is read; a file that breaks
// any rule (truncated, offsets or counts past its end, strings without their NUL, a hash table
// that does not fit or points past the messages, unsorted messages without a hash table) is
// refused as a whole. The catalogue owns the file's bytes; a translation it answers points into
// them and lives as long as the catalogue. Memory beyond the bytes is the index in the host's
// byte order, no larger than the file's own tables. Lookups allocate nothing and may run on
// any number of threads at once.
#pragma once

#include "utl_trPluralRule.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vlt::detail {

// A message as the file keys it: "<context>\4<text>", or the text alone, with the file's hash
// of it. Refers to the caller's texts.
struct trKey {
    const char* context = nullptr; // null for none
    std::size_t contextLength = 0;
    const char* text = nullptr;
    std::size_t textLength = 0;
    uint32_t hash = 0;

    trKey(const char* context, const char* text);
    std::size_t Length() const {
        return context != nullptr ? contextLength + 1 + textLength : textLength;
    }
};

class trCatalog {
public:
    // The catalogue in the file; null when the file cannot be read or is not a sound catalogue.
    static std::unique_ptr<trCatalog> Load(const std::string& path);
    static std::unique_ptr<trCatalog> FromBytes(std::vector<char> bytes);

    // The translation of a message; null when the catalogue has none.
    const char* Find(const trKey& key) const;
    // The form for n of a message's translation, by the catalogue's plural rule; the first form
    // when the rule picks one the entry lacks. Null when the catalogue has no translation.
    const char* FindPlural(const trKey& key, uint64_t n) const;

private:
    struct Entry {
        uint32_t originalOffset;
        uint32_t originalLength;
        uint32_t translationOffset;
        uint32_t translationLength;
    };
    class Reader;

    bool ReadEntries(const Reader& file);
    bool ReadHashTable(const Reader& file);
    bool IsSorted() const;

    const Entry* Lookup(const trKey& key) const;
    const Entry* HashLookup(const trKey& key) const;
    const Entry* SortedLookup(const trKey& key) const;
    bool Matches(const trKey& key, const Entry& entry) const;
    // Orders a key against an original as strcmp orders the composed key.
    static int Compare(const trKey& key, const char* original);

    const char* Original(const Entry& entry) const { return bytes.data() + entry.originalOffset; }
    const char* Translation(const Entry& entry) const {
        return bytes.data() + entry.translationOffset;
    }

    std::vector<char> bytes;
    std::vector<Entry> entries;
    std::vector<uint32_t> hashTable; // empty: search the sorted originals instead
    trPluralRule pluralRule;
};

} // namespace vlt::detail
