#include "utl_trCatalog.h"

#include "utl_FilePlatform.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vlt::detail {
namespace {

constexpr uint32_t magic = 0x950412de;
constexpr uint32_t swappedMagic = 0xde120495;
constexpr std::size_t headerSize = 28;
// The file's offsets are 32-bit: nothing past 4 GiB can belong to a catalogue.
constexpr int64_t largestFile = int64_t{1} << 32;
constexpr int readChunk = 1 << 20;
constexpr char contextSeparator = '\4';

// The hash every catalogue keys its table with (the classic ELF string hash, 32 bits wide).
uint32_t HashStep(uint32_t hash, unsigned char c) {
    hash = (hash << 4) + c;
    const uint32_t high = hash & 0xf0000000U;
    if (high != 0) {
        hash ^= high >> 24;
        hash ^= high;
    }
    return hash;
}

// Hashes and measures a NUL-terminated text in one pass.
uint32_t HashText(uint32_t hash, const char* text, std::size_t& length) {
    const char* at = text;
    for (; *at != '\0'; ++at) {
        hash = HashStep(hash, static_cast<unsigned char>(*at));
    }
    length = static_cast<std::size_t>(at - text);
    return hash;
}

} // namespace

trKey::trKey(const char* context, const char* text) : context(context), text(text) {
    if (context != nullptr) {
        hash = HashText(0, context, contextLength);
        hash = HashStep(hash, contextSeparator);
    }
    hash = HashText(hash, text, textLength);
}

// Reads the file's 32-bit words in its own byte order, and checks every range against its size.
class trCatalog::Reader {
public:
    explicit Reader(const std::vector<char>& bytes) : bytes(bytes) {}

    bool ReadHeader() {
        if (bytes.size() < headerSize) {
            return false;
        }
        const uint32_t first = Raw(0);
        if (first != magic && first != swappedMagic) {
            return false;
        }
        swapped = first == swappedMagic;
        // Major revisions 0 and 1 share the tables read here; 1 adds segments this reader
        // does not use.
        return Word(4) >> 16 <= 1;
    }

    uint32_t Word(std::size_t at) const {
        const uint32_t value = Raw(at);
        return swapped ? Swap(value) : value;
    }

    bool Fits(uint64_t offset, uint64_t length) const {
        return offset <= bytes.size() && length <= bytes.size() - offset;
    }

    // A string of the file: in range and followed by its NUL.
    bool StringFits(uint32_t offset, uint32_t length) const {
        return Fits(offset, uint64_t{length} + 1) && bytes[uint64_t{offset} + length] == '\0';
    }

private:
    uint32_t Raw(std::size_t at) const {
        uint32_t value = 0;
        std::memcpy(&value, bytes.data() + at, sizeof value);
        return value;
    }

    static uint32_t Swap(uint32_t v) {
        return (v >> 24) | ((v >> 8) & 0xff00U) | ((v << 8) & 0xff0000U) | (v << 24);
    }

    const std::vector<char>& bytes;
    bool swapped = false;
};

std::unique_ptr<trCatalog> trCatalog::Load(const std::string& path) {
    FileHandle handle = noFile;
    if (!FileOpen(path.c_str(), FileOpenMode::Read, handle)) {
        return nullptr;
    }
    int64_t size = 0;
    std::vector<char> bytes;
    bool read = FileSize(handle, size) && size >= 0 && size <= largestFile;
    if (read) {
        bytes.resize(static_cast<std::size_t>(size));
        std::size_t filled = 0;
        while (read && filled < bytes.size()) {
            const int want =
                static_cast<int>(std::min<std::size_t>(bytes.size() - filled, readChunk));
            int done = 0;
            read = FileRead(handle, bytes.data() + filled, want, done) && done > 0;
            filled += read ? static_cast<std::size_t>(done) : 0;
        }
    }
    FileClose(handle);
    return read ? FromBytes(std::move(bytes)) : nullptr;
}

std::unique_ptr<trCatalog> trCatalog::FromBytes(std::vector<char> bytes) {
    Reader file(bytes);
    auto catalog = std::unique_ptr<trCatalog>(new trCatalog);
    if (!file.ReadHeader() || !catalog->ReadEntries(file) || !catalog->ReadHashTable(file)) {
        return nullptr;
    }
    catalog->bytes = std::move(bytes);
    if (catalog->hashTable.empty() && !catalog->IsSorted()) {
        return nullptr;
    }
    if (const Entry* header = catalog->Lookup(trKey(nullptr, ""))) {
        catalog->pluralRule = trPluralRule::FromHeader(
            {catalog->bytes.data() + header->translationOffset, header->translationLength});
    }
    return catalog;
}

bool trCatalog::ReadEntries(const Reader& file) {
    const uint32_t count = file.Word(8);
    const uint32_t originals = file.Word(12);
    const uint32_t translations = file.Word(16);
    // The two tables take 16 bytes a message: the index, as large, then never outgrows the file
    // even where a forged file lays the tables over each other.
    if (!file.Fits(originals, uint64_t{count} * 8) ||
        !file.Fits(translations, uint64_t{count} * 8) || !file.Fits(0, uint64_t{count} * 16)) {
        return false;
    }
    entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        // Each table holds (length, offset) pairs.
        const Entry entry{file.Word(originals + 8 * i + 4), file.Word(originals + 8 * i),
                          file.Word(translations + 8 * i + 4), file.Word(translations + 8 * i)};
        if (!file.StringFits(entry.originalOffset, entry.originalLength) ||
            !file.StringFits(entry.translationOffset, entry.translationLength)) {
            return false;
        }
        entries.push_back(entry);
    }
    return true;
}

// A table with no empty slot, or with a slot past the messages, would send a lookup astray; one
// of one or two slots cannot be probed.
bool trCatalog::ReadHashTable(const Reader& file) {
    const uint32_t size = file.Word(20);
    const uint32_t offset = file.Word(24);
    if (size == 0) {
        return true;
    }
    if (size < 3 || !file.Fits(offset, uint64_t{size} * 4)) {
        return false;
    }
    bool emptySlot = false;
    hashTable.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
        const uint32_t slot = file.Word(offset + 4 * i);
        if (slot > entries.size()) {
            return false;
        }
        emptySlot = emptySlot || slot == 0;
        hashTable.push_back(slot);
    }
    return emptySlot;
}

bool trCatalog::IsSorted() const {
    for (std::size_t i = 1; i < entries.size(); ++i) {
        if (std::strcmp(Original(entries[i - 1]), Original(entries[i])) >= 0) {
            return false;
        }
    }
    return true;
}

const char* trCatalog::Find(const trKey& key) const {
    const Entry* entry = Lookup(key);
    return entry != nullptr ? Translation(*entry) : nullptr;
}

const char* trCatalog::FindPlural(const trKey& key, uint64_t n) const {
    const Entry* entry = Lookup(key);
    if (entry == nullptr) {
        return nullptr;
    }
    // The forms follow each other, each ending in its NUL.
    const char* const first = Translation(*entry);
    const char* const end = first + entry->translationLength;
    const char* form = first;
    for (uint64_t index = pluralRule.FormIndex(n); index != 0; --index) {
        form += std::strlen(form) + 1;
        if (form > end) {
            return first;
        }
    }
    return form;
}

const trCatalog::Entry* trCatalog::Lookup(const trKey& key) const {
    return hashTable.empty() ? SortedLookup(key) : HashLookup(key);
}

// Double hashing, as the file's writer placed the messages. The probe count is bounded by the
// table's size, so a table whose size is not prime cannot cycle for ever.
const trCatalog::Entry* trCatalog::HashLookup(const trKey& key) const {
    const uint32_t size = static_cast<uint32_t>(hashTable.size());
    uint32_t index = key.hash % size;
    const uint32_t step = 1 + key.hash % (size - 2);
    for (uint32_t probe = 0; probe < size; ++probe) {
        const uint32_t slot = hashTable[index];
        if (slot == 0) {
            return nullptr;
        }
        const Entry& entry = entries[slot - 1];
        if (Matches(key, entry)) {
            return &entry;
        }
        index = index >= size - step ? index - (size - step) : index + step;
    }
    return nullptr;
}

const trCatalog::Entry* trCatalog::SortedLookup(const trKey& key) const {
    const auto found = std::lower_bound(
        entries.begin(), entries.end(), key,
        [this](const Entry& entry, const trKey& k) { return Compare(k, Original(entry)) > 0; });
    return found != entries.end() && Matches(key, *found) ? &*found : nullptr;
}

// An original is the key, then its NUL, then for a plural message the plural text.
bool trCatalog::Matches(const trKey& key, const Entry& entry) const {
    const std::size_t length = key.Length();
    if (entry.originalLength < length) {
        return false;
    }
    const char* original = Original(entry);
    if (original[length] != '\0') {
        return false;
    }
    if (key.context != nullptr) {
        if (std::memcmp(original, key.context, key.contextLength) != 0 ||
            original[key.contextLength] != contextSeparator) {
            return false;
        }
        original += key.contextLength + 1;
    }
    return std::memcmp(original, key.text, key.textLength) == 0;
}

// strcmp of the key's text against an original, without composing the key.
int trCatalog::Compare(const trKey& key, const char* original) {
    const auto compare = [&original](const char* part, std::size_t length) {
        for (std::size_t i = 0; i < length; ++i, ++original) {
            const auto a = static_cast<unsigned char>(part[i]);
            const auto b = static_cast<unsigned char>(*original);
            if (a != b) {
                return a < b ? -1 : 1;
            }
        }
        return 0;
    };
    int order = 0;
    if (key.context != nullptr) {
        const char separator = contextSeparator;
        order = compare(key.context, key.contextLength);
        order = order != 0 ? order : compare(&separator, 1);
    }
    order = order != 0 ? order : compare(key.text, key.textLength);
    return order != 0 ? order : (*original == '\0' ? 0 : -1);
}

} // namespace vlt::detail
