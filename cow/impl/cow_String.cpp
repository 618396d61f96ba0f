#include "cow_String.h"

#include "cow_ByteScan.h"
#include "crt_Assert.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace {

constexpr char path[] = "cow/impl/cow_String";

// The published growth rule: repeated appends reallocate about every 17 characters once a
// string is longer than 46, and clients size their expectations on it.
uint32_t capacityFor(unsigned n) {
    if (n < 15) {
        return 32;
    }
    return n <= 46 ? 64 : n + 17;
}

// Lengths and capacities count in 32 bits, and the growth rule adds its room to the length:
// longer text is refused, as the standard strings refuse what they cannot hold.
unsigned heldLength(std::size_t size) {
    constexpr std::size_t longest = 0xFFFFFFFFu - 64;
    if (size > longest) {
        throw std::length_error("cow_String: text longer than a string holds");
    }
    return static_cast<unsigned>(size);
}

char* allocateBuffer(std::size_t bytes) {
    void* p = std::malloc(bytes);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(p);
}

char* reallocateBuffer(char* buffer, uint32_t capacity) {
    void* p = std::realloc(buffer, capacity);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(p);
}

// Membership test for a set of bytes, built once per call instead of a strchr per character.
class ByteSet {
public:
    explicit ByteSet(const char* set) {
        for (const unsigned char* p = reinterpret_cast<const unsigned char*>(set); *p != 0; ++p) {
            member[*p] = true;
        }
    }
    bool Contains(char c) const { return member[static_cast<unsigned char>(c)]; }

private:
    bool member[256] = {};
};

// The classification functions take the byte as an unsigned char value, which is what their
// tables are indexed by; adding or subtracting 32 converts between the cases.
bool isUpper(char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0;
}
bool isLower(char c) {
    return std::islower(static_cast<unsigned char>(c)) != 0;
}

// A number printed into a local buffer; length 0 when printing failed.
struct FormattedNumber {
    char text[64];
    unsigned length = 0;

    template <class T>
    FormattedNumber(const char* format, T value) {
        const int n = std::snprintf(text, sizeof text, format, value);
        if (n > 0 && static_cast<unsigned>(n) < sizeof text) {
            length = static_cast<unsigned>(n);
        } else {
            text[0] = 0; // a failed format gives the empty string
        }
    }

    // Some runtime libraries always print three exponent digits ("1.5e+010"); a leading zero
    // among them is dropped so that an exponent takes two digits whenever it fits.
    void ShortenExponent() {
        if (length < 4) {
            return;
        }
        char* e = static_cast<char*>(std::memchr(text, 'e', length));
        if (e == nullptr || text + length - (e + 2) != 3 || e[2] != '0') {
            return;
        }
        e[2] = e[3];
        e[3] = e[4];
        e[4] = 0;
        --length;
    }
};

FormattedNumber formatDouble(double value) {
    FormattedNumber number("%lg", value);
    number.ShortenExponent();
    return number;
}

} // namespace

const char cow_String::emptyText[1] = "";

// ---- Representation ------------------------------------------------------------------------

void* cow_String::cow_StringRep::operator new(std::size_t size, uint32_t capacity) {
    return allocateBuffer(size + capacity);
}

void cow_String::cow_StringRep::operator delete(void* rep, uint32_t) noexcept {
    std::free(rep);
}

void cow_String::cow_StringRep::operator delete(void* rep) noexcept {
    std::free(rep);
}

cow_String::cow_StringRep::cow_StringRep(uint32_t capacity, unsigned length)
    : m_Buffer(reinterpret_cast<char*>(this + 1)), m_Capacity(capacity), m_Length(length) {
    m_Buffer[length] = 0;
}

cow_String::cow_StringRep* cow_String::cow_StringRep::Make(unsigned n) {
    const uint32_t capacity = capacityFor(n);
    return new (capacity) cow_StringRep(capacity, 0);
}

cow_String::cow_StringRep* cow_String::cow_StringRep::Make(const char* p, unsigned n) {
    const uint32_t capacity = capacityFor(n);
    auto* rep = new (capacity) cow_StringRep(capacity, n);
    if (n != 0) {
        std::memcpy(rep->m_Buffer, p, n);
    }
    return rep;
}

// Capacity follows the requested size, not r's length; a request below r's length is raised
// to it so that the copy always fits.
cow_String::cow_StringRep* cow_String::cow_StringRep::Make(const cow_StringRep& r, unsigned n) {
    const uint32_t capacity = capacityFor(std::max(n, r.m_Length));
    auto* rep = new (capacity) cow_StringRep(capacity, r.m_Length);
    std::memcpy(rep->m_Buffer, r.m_Buffer, r.m_Length);
    return rep;
}

cow_String::cow_StringRep::~cow_StringRep() {
    if (!HoldsBufferInline()) {
        std::free(m_Buffer);
    }
}

// ---- Construction ---------------------------------------------------------------------------

cow_String::cow_String(const char* s) {
    const size_t n = s != nullptr ? std::strlen(s) : 0;
    if (n != 0) {
        m_Cow = cow_StringRep::Make(s, static_cast<unsigned>(n));
    }
}

cow_String::cow_String(const char* p, unsigned n) : m_Cow(cow_StringRep::Make(p, n)) {}

cow_String::cow_String(int value) : cow_String(FormattedNumber("%d", value).text) {}

cow_String::cow_String(unsigned int value) : cow_String(FormattedNumber("%u", value).text) {}

cow_String::cow_String(double value) : cow_String(formatDouble(value).text) {}

cow_String::cow_String(std::string_view text) : cow_String(text.data(), heldLength(text.size())) {}

cow_String& cow_String::operator=(const char* s) {
    if (s == nullptr) {
        s = emptyText;
    }
    const unsigned length = static_cast<unsigned>(std::strlen(s));
    char* old = get(length + 1);
    // s may point into the buffer being rewritten; a buffer that get() replaced is freed
    // only after the copy.
    std::memmove(m_Cow->m_Buffer, s, length + 1);
    std::free(old);
    m_Cow->m_Length = length;
    return *this;
}

void cow_String::Delete() {
    CRT_CHECK(m_Cow && m_Cow->m_RefCt.References() >= 0,
              "m_Cow && m_Cow->m_RefCt.References() >= 0", path);
    delete m_Cow;
    m_Cow = nullptr;
}

char* vlt::detail::cow_StringAccess::Fill(cow_String& s, unsigned n) {
    const uint32_t capacity = capacityFor(heldLength(n));
    cow_String::cow_StringRep* rep = s.m_Cow;
    if (rep == nullptr || rep->m_RefCt.References() != 1 || rep->m_Capacity != capacity) {
        cow_String fresh;
        fresh.m_Cow = cow_String::cow_StringRep::Make(n);
        s = std::move(fresh);
        rep = s.m_Cow;
    }
    rep->m_Length = n;
    rep->m_Buffer[n] = 0;
    return rep->m_Buffer;
}

// ---- Private primitives ---------------------------------------------------------------------

bool cow_String::pointsIntoBuffer(const char* s) const {
    return m_Cow != nullptr &&
           reinterpret_cast<uintptr_t>(s) - reinterpret_cast<uintptr_t>(m_Cow->m_Buffer) <
               m_Cow->m_Capacity;
}

void cow_String::isolate(unsigned n) {
    if (m_Cow == nullptr) {
        m_Cow = cow_StringRep::Make(n);
    } else if (m_Cow->m_RefCt.References() >= 2) {
        cow_StringRep* copy = cow_StringRep::Make(*m_Cow, n);
        m_Cow->m_RefCt.Decrement();
        m_Cow = copy;
    } else if (m_Cow->m_Capacity <= n) {
        // Sole owner: realloc keeps the contents, often without moving them; the room behind
        // the representation can only be left.
        const uint32_t capacity = capacityFor(n);
        if (m_Cow->HoldsBufferInline()) {
            char* buffer = allocateBuffer(capacity);
            std::memcpy(buffer, m_Cow->m_Buffer, m_Cow->m_Length + 1);
            m_Cow->m_Buffer = buffer;
        } else {
            m_Cow->m_Buffer = reallocateBuffer(m_Cow->m_Buffer, capacity);
        }
        m_Cow->m_Capacity = capacity;
    }
}

char* cow_String::get(unsigned n) {
    if (m_Cow == nullptr) {
        m_Cow = cow_StringRep::Make(n);
    } else if (m_Cow->m_RefCt.References() >= 2) {
        // The old buffer stays valid: it still belongs to the other holders.
        cow_StringRep* fresh = cow_StringRep::Make(n);
        m_Cow->m_RefCt.Decrement();
        m_Cow = fresh;
    } else if (m_Cow->m_Capacity <= n) {
        char* old = m_Cow->HoldsBufferInline() ? nullptr : m_Cow->m_Buffer;
        const uint32_t capacity = capacityFor(n);
        m_Cow->m_Buffer = allocateBuffer(capacity);
        m_Cow->m_Capacity = capacity;
        return old;
    }
    return nullptr;
}

void cow_String::splice(unsigned at, unsigned removed, const char* s, unsigned added) {
    if (added != 0 && pointsIntoBuffer(s)) {
        // The in-place move below would shift the very bytes being inserted.
        const std::unique_ptr<cow_StringRep> copy(cow_StringRep::Make(s, added));
        splice(at, removed, copy->m_Buffer, added);
        return;
    }
    const char* oldBuffer = m_Cow != nullptr ? m_Cow->m_Buffer : nullptr;
    const unsigned oldLength = Length();
    const unsigned newLength = oldLength - removed + added;
    const unsigned tail = oldLength - at - removed + 1; // the terminator included
    char* old = get(newLength);
    char* buffer = m_Cow->m_Buffer;
    if (oldBuffer == nullptr) {
        buffer[added] = 0;
    } else if (buffer != oldBuffer) {
        std::memcpy(buffer, oldBuffer, at);
        std::memcpy(buffer + at + added, oldBuffer + at + removed, tail);
        std::free(old);
    } else if (removed != added) {
        std::memmove(buffer + at + added, buffer + at + removed, tail);
    }
    if (added != 0) {
        std::memcpy(buffer + at, s, added);
    }
    m_Cow->m_Length = newLength;
}

void cow_String::append(const char* s, unsigned slen, unsigned start, unsigned count) {
    CRT_CHECK(start <= slen, "(start <= clen) && \"Append: start out of range\"", path);
    start = std::min(start, slen);
    const unsigned n = std::min(slen - start, count);
    s += start;
    const unsigned oldLength = Length();
    // Growing may move the buffer that s points into; keep s as an offset meanwhile.
    const bool own = pointsIntoBuffer(s);
    const ptrdiff_t offset = own ? s - m_Cow->m_Buffer : 0;
    isolate(oldLength + n);
    char* buffer = m_Cow->m_Buffer;
    if (own) {
        s = buffer + offset;
    }
    if (n != 0) {
        std::memcpy(buffer + oldLength, s, n);
    }
    buffer[oldLength + n] = 0;
    m_Cow->m_Length = oldLength + n;
}

void cow_String::insert(unsigned start1, const char* s, unsigned slen, unsigned start2,
                        unsigned count) {
    const unsigned oldLength = Length();
    CRT_CHECK(start1 <= oldLength, "(start1 <= oldLength) && \"Insert: start1 out of range\"",
              path);
    CRT_CHECK(start2 <= slen, "(start2 <= slen) && \"Insert: start2 out of range\"", path);
    start1 = std::min(start1, oldLength);
    start2 = std::min(start2, slen);
    splice(start1, 0, s + start2, std::min(slen - start2, count));
}

void cow_String::replace(unsigned start1, unsigned removeCount, const char* s, unsigned slen,
                         unsigned start2, unsigned addCount) {
    const unsigned oldLength = Length();
    CRT_CHECK(start1 <= oldLength, "(start1 <= oldLength) && \"Replace: start1 out of range\"",
              path);
    CRT_CHECK(start2 <= slen, "(start2 <= slen) && \"Replace: start2 out of range\"", path);
    start1 = std::min(start1, oldLength);
    start2 = std::min(start2, slen);
    splice(start1, std::min(oldLength - start1, removeCount), s + start2,
           std::min(slen - start2, addCount));
}

unsigned cow_String::rfind(const char* needle, unsigned n, unsigned pos) const {
    const unsigned length = Length();
    // pos 0 is not-found even when the string begins with the needle: deliberate.
    if (n == 0 || pos == 0 || length == 0) {
        return length;
    }
    const char* buffer = m_Cow->m_Buffer;
    unsigned found = length;
    for (const char* hit = std::strstr(buffer, needle);
         hit != nullptr && static_cast<unsigned>(hit - buffer) <= pos;) {
        found = static_cast<unsigned>(hit - buffer);
        if (found + 1 >= length) {
            break;
        }
        hit = std::strstr(hit + 1, needle);
    }
    return found;
}

// ---- Public operations ----------------------------------------------------------------------

char cow_String::operator[](unsigned ix) const {
    const unsigned length = Length();
    CRT_CHECK(ix <= length, "ix <= Length()", path);
    return c_str()[std::min(ix, length)];
}

char& cow_String::operator[](unsigned ix) {
    const unsigned length = Length();
    CRT_CHECK(ix < length, "ix < Length()", path);
    if (ix >= length) {
        // Writing the terminator would unterminate the text; hand out a scratch byte instead.
        static thread_local char scratch;
        scratch = 0;
        return scratch;
    }
    isolate(length);
    return m_Cow->m_Buffer[ix];
}

cow_String& cow_String::Erase(unsigned start, unsigned count) {
    const unsigned oldLength = Length();
    CRT_CHECK(start <= oldLength, "(start <= oldLength) && \"Erase: start out of range\"", path);
    if (m_Cow == nullptr) {
        return *this;
    }
    start = std::min(start, oldLength);
    splice(start, std::min(oldLength - start, count), "", 0);
    return *this;
}

// Only replace text that points into this string needs a private copy first, and splice()
// makes it; a copy of every other text would be wasted work.
cow_String& cow_String::Replace(unsigned start, unsigned count, const char* text, unsigned n) {
    replace(start, count, text, n, 0, Unlimited);
    return *this;
}

cow_String& cow_String::Substitute(const cow_String& from, const cow_String& to, unsigned maximum) {
    if (Length() == 0 || from.Length() == 0 || maximum == 0) {
        return *this;
    }
    // Every pass searches from the start again, so text produced by an earlier substitution
    // is searched too: deliberate.
    for (unsigned done = 0; done < maximum; ++done) {
        const unsigned at = Find(from.c_str(), 0);
        if (at == Length()) {
            break;
        }
        replace(at, from.Length(), to.c_str(), to.Length(), 0, Unlimited);
    }
    return *this;
}

cow_String cow_String::Substr(unsigned start, unsigned count) const {
    const unsigned length = Length();
    CRT_CHECK(start <= length, "(start <= length) && \"Substr: start out of range\"", path);
    start = std::min(start, length);
    return cow_String(c_str() + start, std::min(length - start, count));
}

unsigned cow_String::Find(const char* needle, unsigned start) const {
    if (m_Cow == nullptr) {
        return 0;
    }
    const unsigned length = m_Cow->m_Length;
    if (start > length) {
        return length;
    }
    // Candidates are found by their first byte with a scan that also stops at the first NUL,
    // exactly where a C-string search stops, and are checked by memcmp with the known lengths.
    // Unlike strstr this pays no setup per call.
    const size_t needleLength = std::strlen(needle);
    if (needleLength == 0) {
        return start;
    }
    const char* const end = m_Cow->m_Buffer + length;
    for (const char* p = m_Cow->m_Buffer + start;; ++p) {
        p = vlt::detail::cow_FindByteOrNul(p, end, needle[0]);
        if (p == end || *p == '\0' || static_cast<size_t>(end - p) < needleLength) {
            return length;
        }
        if (std::memcmp(p, needle, needleLength) == 0) {
            return static_cast<unsigned>(p - m_Cow->m_Buffer);
        }
    }
}

cow_String& cow_String::LeftTrim(const char* set) {
    const size_t n = std::strspn(c_str(), set);
    if (n > 0) {
        Erase(0, static_cast<unsigned>(n));
    }
    return *this;
}

cow_String& cow_String::RightTrim(const char* set) {
    const ByteSet members(set);
    const char* text = c_str();
    const unsigned length = Length();
    unsigned end = length;
    while (end > 0 && members.Contains(text[end - 1])) {
        --end;
    }
    if (end < length) {
        Erase(end, Unlimited);
    }
    return *this;
}

cow_String& cow_String::Trim(const char* set) {
    const unsigned length = Length();
    if (length == 0) {
        return *this;
    }
    const ByteSet members(set);
    isolate(length);
    char* buffer = m_Cow->m_Buffer;
    unsigned kept = 0;
    for (unsigned i = 0; i < length; ++i) {
        buffer[kept] = buffer[i];
        kept += members.Contains(buffer[i]) ? 0 : 1;
    }
    buffer[kept] = 0;
    m_Cow->m_Length = kept;
    return *this;
}

namespace {

// Index of the first of text[0, length) satisfying test, or length.
unsigned firstMatching(const char* text, unsigned length, bool (*test)(char)) {
    unsigned i = 0;
    while (i < length && !test(text[i])) {
        ++i;
    }
    return i;
}

} // namespace

// Looks before it un-shares: a string with nothing to change stays shared.
void cow_String::shiftCase(bool (*test)(char), int delta, bool firstOnly) {
    const unsigned length = Length();
    const unsigned scanned = firstOnly ? std::min(length, 1u) : length;
    unsigned i = firstMatching(c_str(), scanned, test);
    if (i == scanned) {
        return;
    }
    isolate(length);
    char* buffer = m_Cow->m_Buffer;
    for (; i < scanned; ++i) {
        if (test(buffer[i])) {
            buffer[i] = static_cast<char>(buffer[i] + delta);
        }
    }
}

cow_String& cow_String::ToLower() {
    shiftCase(isUpper, 32, false);
    return *this;
}

cow_String& cow_String::ToUpper() {
    shiftCase(isLower, -32, false);
    return *this;
}

cow_String& cow_String::Capitalize() {
    shiftCase(isLower, -32, true);
    return *this;
}

cow_String& cow_String::Uncapitalize() {
    shiftCase(isUpper, 32, true);
    return *this;
}

cow_String& cow_String::Reverse() {
    const unsigned length = Length();
    if (length == 0) {
        return *this;
    }
    isolate(length);
    std::reverse(m_Cow->m_Buffer, m_Cow->m_Buffer + length);
    return *this;
}

std::ostream& operator<<(std::ostream& out, const cow_String& s) {
    return out << s.c_str();
}
