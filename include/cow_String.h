// The library's one text type.
//
// A `cow_String` is a handle to a shared, reference-counted, NUL-terminated byte buffer (its
// `cow_StringRep`). Copying or assigning a string takes one more reference; the first
// modifying operation on a representation that other strings share gives this string a
// private copy, and read-only operations never copy. A string without a representation is
// the empty string and reads as a shared static empty text, never as a null pointer.
//
// Positions and counts are unsigned. A count of `Unlimited` means "to the end": every count
// is clipped to what is available. A search that finds nothing answers `Length()`.
//
// Counters are plain integers: strings that share a representation belong to one thread at a
// time.
//
// Beside the standard library: a string is made from a `std::string_view` (and so from a
// `std::string`) explicitly, as a `std::string` is, because it copies bytes that the view does
// not own; it reads as a `std::string_view` of its whole text implicitly, and compares with
// one. `std::hash<cow_String>` lets it key the unordered containers.
#pragma once

#include "cow_CountedHld.h"
#include "vlt_Export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string_view>

namespace vlt::detail {
struct cow_StringAccess;
} // namespace vlt::detail

class VLTUTL_API cow_String {
public:
    static constexpr unsigned Unlimited = 0xFFFFFFFFu;

    cow_String() = default;
    cow_String(const char* s);
    // Exactly n bytes of p, copied byte for byte (a NUL among them is kept).
    cow_String(const char* p, unsigned n);
    // The number as "%d", "%u" and "%lg" print it; a three-digit exponent with a leading zero
    // is shortened to two digits.
    explicit cow_String(int value);
    explicit cow_String(unsigned int value);
    explicit cow_String(double value);
    // Every byte of text, NULs among them.
    explicit cow_String(std::string_view text);

    cow_String(const cow_String& other) : m_Cow(other.m_Cow) {
        if (m_Cow != nullptr) {
            m_Cow->m_RefCt.Increment();
        }
    }
    cow_String(cow_String&& other) noexcept : m_Cow(other.m_Cow) { other.m_Cow = nullptr; }

    // Takes the new reference before dropping the old one, so self-assignment is harmless.
    cow_String& operator=(const cow_String& other) {
        if (other.m_Cow != nullptr) {
            other.m_Cow->m_RefCt.Increment();
        }
        release();
        m_Cow = other.m_Cow;
        return *this;
    }
    cow_String& operator=(cow_String&& other) noexcept {
        if (this != &other) {
            release();
            m_Cow = other.m_Cow;
            other.m_Cow = nullptr;
        }
        return *this;
    }
    // Unlike the constructor, assigning the empty text keeps a representation of length 0;
    // deliberate, both read as empty.
    cow_String& operator=(const char* s);

    ~cow_String() { release(); }

    unsigned Length() const { return m_Cow != nullptr ? m_Cow->m_Length : 0; }
    // Bytes allocated for the text (0 without a representation).
    unsigned Capacity() const { return m_Cow != nullptr ? m_Cow->m_Capacity : 0; }
    // The text; valid until this string is next modified or destroyed.
    const char* c_str() const { return m_Cow != nullptr ? m_Cow->m_Buffer : emptyText; }
    // The whole text, NULs among them; valid as long as c_str() is.
    operator std::string_view() const noexcept { return {c_str(), Length()}; }

    // The standard library's spellings, for generic code.
    std::size_t size() const noexcept { return Length(); }
    bool empty() const noexcept { return Length() == 0; }
    const char* begin() const noexcept { return c_str(); }
    const char* end() const noexcept { return c_str() + Length(); }

    // ix == Length() reads the terminating 0.
    char operator[](unsigned ix) const;
    // Writable access un-shares; ix must be below Length().
    char& operator[](unsigned ix);

    // Appends or inserts at most count characters of s starting at s[start]. s may point into
    // this string.
    cow_String& Append(const char* s, unsigned start = 0, unsigned count = Unlimited) {
        append(s, static_cast<unsigned>(std::strlen(s)), start, count);
        return *this;
    }
    cow_String& Append(const cow_String& s, unsigned start = 0, unsigned count = Unlimited) {
        append(s.c_str(), s.Length(), start, count);
        return *this;
    }
    cow_String& Append(char c) {
        append(&c, 1, 0, 1);
        return *this;
    }
    cow_String& Insert(unsigned at, const char* s, unsigned start = 0, unsigned count = Unlimited) {
        insert(at, s, static_cast<unsigned>(std::strlen(s)), start, count);
        return *this;
    }
    cow_String& Insert(unsigned at, const cow_String& s, unsigned start = 0,
                       unsigned count = Unlimited) {
        insert(at, s.c_str(), s.Length(), start, count);
        return *this;
    }
    cow_String& operator+=(const char* s) { return Append(s); }
    cow_String& operator+=(const cow_String& s) { return Append(s); }
    cow_String& operator+=(char c) { return Append(c); }

    cow_String& Erase(unsigned start, unsigned count = Unlimited);
    // Replaces at most count characters at start by the n bytes of text (which may point into
    // this string).
    cow_String& Replace(unsigned start, unsigned count, const char* text, unsigned n);
    // Replaces at most count characters at start by at most count2 characters of s starting at
    // s[start2].
    cow_String& Replace(unsigned start, unsigned count, const cow_String& s, unsigned start2 = 0,
                        unsigned count2 = Unlimited) {
        replace(start, count, s.c_str(), s.Length(), start2, count2);
        return *this;
    }
    cow_String& Substitute(const cow_String& from, const cow_String& to,
                           unsigned maximum = Unlimited);
    cow_String Substr(unsigned start, unsigned count = Unlimited) const;

    // First occurrence at or after start; an empty string answers 0.
    unsigned Find(const char* needle, unsigned start = 0) const;
    unsigned Find(const cow_String& needle, unsigned start = 0) const {
        return Find(needle.c_str(), start);
    }
    // Last occurrence starting at or before pos. pos 0 never finds anything, not even a needle
    // at the very start; deliberate, clients rely on it.
    unsigned ReverseFind(const char* needle, unsigned pos = Unlimited) const {
        return rfind(needle, static_cast<unsigned>(std::strlen(needle)), pos);
    }
    unsigned ReverseFind(const cow_String& needle, unsigned pos = Unlimited) const {
        return rfind(needle.c_str(), needle.Length(), pos);
    }

    cow_String& LeftTrim(const char* set);
    cow_String& RightTrim(const char* set);
    // Removes every character of set from the whole string, not only from its ends:
    // deliberate, it is a filter.
    cow_String& Trim(const char* set);

    cow_String& ToLower();
    cow_String& ToUpper();
    cow_String& Capitalize();
    cow_String& Uncapitalize();
    cow_String& Reverse();

    // Byte order of the texts (unsigned bytes, as strcmp orders them). The first bytes are
    // compared inline: most unequal keys of a map differ there, and the call is the cost.
    friend bool operator==(const cow_String& a, const cow_String& b) {
        if (a.m_Cow == b.m_Cow) {
            return true;
        }
        const char* x = a.c_str();
        const char* y = b.c_str();
        return x[0] == y[0] && (x[0] == 0 || std::strcmp(x + 1, y + 1) == 0);
    }
    friend bool operator==(const cow_String& a, const char* b) {
        return std::strcmp(a.c_str(), b) == 0;
    }
    friend std::strong_ordering operator<=>(const cow_String& a, const cow_String& b) {
        return a.m_Cow == b.m_Cow ? std::strong_ordering::equal
                                  : std::strcmp(a.c_str(), b.c_str()) <=> 0;
    }
    friend std::strong_ordering operator<=>(const cow_String& a, const char* b) {
        return std::strcmp(a.c_str(), b) <=> 0;
    }
    // As above, the string's text ends at its first NUL; the view's bytes count in full.
    friend bool operator==(const cow_String& a, std::string_view b) {
        return std::string_view(a.c_str()) == b;
    }
    friend std::strong_ordering operator<=>(const cow_String& a, std::string_view b) {
        return std::string_view(a.c_str()) <=> b;
    }

private:
    friend struct vlt::detail::cow_StringAccess;

    // A representation is made on the heap with its first buffer right behind it, in one
    // allocation: reading a text then touches one block. A buffer that outgrows that room is
    // allocated apart, and the room stays unused until the representation ends.
    class cow_StringRep {
    public:
        // Empty with room for n characters; a copy of p's n bytes; a copy of r with room for n.
        static cow_StringRep* Make(unsigned n);
        static cow_StringRep* Make(const char* p, unsigned n);
        static cow_StringRep* Make(const cow_StringRep& r, unsigned n);
        cow_StringRep(const cow_StringRep&) = delete;
        cow_StringRep& operator=(const cow_StringRep&) = delete;
        ~cow_StringRep();

        static void* operator new(std::size_t size, uint32_t capacity);
        static void operator delete(void* rep, uint32_t capacity) noexcept;
        static void operator delete(void* rep) noexcept;

        bool HoldsBufferInline() const {
            return m_Buffer == reinterpret_cast<const char*>(this + 1);
        }

        char* m_Buffer;
        cow_Counter m_RefCt;
        uint32_t m_Capacity;
        uint32_t m_Length;

    private:
        cow_StringRep(uint32_t capacity, unsigned length);
    };

    // Declared without a size: the compiler must not treat reads through c_str() as reads of a
    // one-byte array (GCC 12 then misreports comparisons with longer literals).
    static const char emptyText[];

    void release() {
        if (m_Cow != nullptr && m_Cow->m_RefCt.Decrement()) {
            Delete();
        }
    }
    void Delete();

    void append(const char* s, unsigned slen, unsigned start, unsigned count);
    void insert(unsigned start1, const char* s, unsigned slen, unsigned start2, unsigned count);
    void replace(unsigned start1, unsigned removeCount, const char* s, unsigned slen,
                 unsigned start2, unsigned addCount);
    unsigned rfind(const char* needle, unsigned n, unsigned pos) const;
    void isolate(unsigned n);
    // Gives the string a private buffer with room for n characters and the terminator, for the
    // caller to rewrite: a shared or outgrown buffer is left, not copied. Answers the buffer it
    // left when the caller must free it after reading from it, else null.
    char* get(unsigned n);
    // The shared editing step: `removed` characters at `at` become the `added` bytes of s.
    void splice(unsigned at, unsigned removed, const char* s, unsigned added);
    bool pointsIntoBuffer(const char* s) const;
    // Adds delta to the characters that pass test (only the first one when firstOnly).
    void shiftCase(bool (*test)(char), int delta, bool firstOnly);

    cow_StringRep* m_Cow = nullptr;
};

namespace vlt::detail {
// For readers that move a text from a stream straight into a string's own buffer.
struct cow_StringAccess {
    // Makes s a private representation of length n, with the capacity a new one of n bytes
    // gets, and returns its buffer, terminated at n, whose n bytes the caller must write. A
    // sole-owned representation of that capacity is kept: it cannot be told from a new one.
    VLTUTL_API static char* Fill(cow_String& s, unsigned n);
};
} // namespace vlt::detail

inline cow_String operator+(cow_String lhs, const char* rhs) {
    lhs.Append(rhs);
    return lhs;
}

inline cow_String operator+(cow_String lhs, const cow_String& rhs) {
    lhs.Append(rhs);
    return lhs;
}

VLTUTL_API std::ostream& operator<<(std::ostream& out, const cow_String& s);

namespace std {
// Equal strings hash alike: the text up to its first NUL, as the comparisons read it.
template <>
struct hash<cow_String> {
    std::size_t operator()(const cow_String& s) const noexcept {
        return std::hash<std::string_view>{}(s.c_str());
    }
};
} // namespace std
