#include "cio_String.h"

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "cio_Record.h"
#include "crt_Assert.h"
#include "omi_FatalError.h"
#include "pnt_PrettyPrint.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {
constexpr char cio_StringPath[] = "cio/impl/cio_String";
} // namespace

void* cio_String::CtorFunc(bio_Ifilter& in, void* storage) {
    return vlt::detail::cio_Construct<cio_String>(in, storage);
}

void cio_String::DtorFunc(void* object) {
    vlt::detail::cio_Destroy<cio_String>(object);
}

namespace {

// The text ends at its first NUL and is clipped to the record's first length; a disagreement
// between the two is reported.
unsigned keptLength(const char* text, unsigned n, unsigned length) {
    const void* nul = std::memchr(text, 0, n);
    const unsigned textLength =
        nul != nullptr ? static_cast<unsigned>(static_cast<const char*>(nul) - text) : n;
    CRT_CHECK(length == textLength, "length == textLength", cio_StringPath);
    return std::min(length, textLength);
}

} // namespace

// The bytes go straight into the string's own buffer when the filter vouches for them;
// otherwise they arrive in bounded pieces first.
void cio_String::ReadData(bio_Ifilter& in, void* object) {
    cow_String& target = *static_cast<cio_String*>(object);
    unsigned length = 0;
    in >> length;
    unsigned n = 0;
    if (!in.ExtractStringLength(n)) {
        const std::unique_ptr<char[]> text(in.ExtractStringBytes(n));
        target = cow_String(text.get(), keptLength(text.get(), n, length));
        return;
    }
    char* buffer = vlt::detail::cow_StringAccess::Fill(target, n);
    try {
        in.extract(buffer, n);
    } catch (...) {
        target = cow_String();
        throw;
    }
    const unsigned kept = keptLength(buffer, n, length);
    if (kept != n) {
        target = cow_String(buffer, kept);
    }
}

bio_Ofilter& cio_String::WriteData(bio_Ofilter& out, const void* object) {
    const cow_String& s = *static_cast<const cio_String*>(object);
    const unsigned length = s.Length();
    out << length;
    out << s.c_str();
    return out;
}

pnt_PrettyPrint& cio_String::PrintData(pnt_PrettyPrint& pp, const void* object) {
    return pp << static_cast<const cow_String&>(*static_cast<const cio_String*>(object));
}

bio_Ofilter& operator<<(bio_Ofilter& out, const cio_String* p) {
    return vlt::detail::cio_WritePointer(out, p);
}

bio_Ofilter& operator<<(bio_Ofilter& out, const cow_String& s) {
    return obj_OutputP0Obj(out, &s, cio_String::TypeId());
}

bio_Ifilter& operator>>(bio_Ifilter& in, cio_String*& p) {
    return vlt::detail::cio_ReadPointer(in, p);
}

bio_Ifilter& operator>>(bio_Ifilter& in, cow_String& s) {
    return vlt::detail::cio_ReadObject<cio_String>(in, s);
}

pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cio_String* p) {
    return obj_PrintP0Ptr(pp, p, cio_String::TypeId());
}

// The record's data goes into `into` itself, not into an object of its own: its marker names
// null, so that a later back-reference cannot reach an object that never existed.
void vlt::detail::cio_ReadTemporary(bio_Ifilter& in, cow_String& into) {
    void* known = nullptr;
    unsigned actual = 0;
    unsigned marker = 0;
    const typ_ReadFunc readData =
        obj_InputP0PtrHead(in, &known, cio_String::TypeId(), actual, marker);
    // After a record of another type the stream's position within the container is lost:
    // reading on would turn every later byte into a report of its own.
    if (actual != 0 && actual != cio_String::TypeId()) {
        throw omi_FatalError(omi_UnexpectedRecordMessage, 0);
    }
    if (readData == nullptr) {
        if (known != nullptr) {
            into = *static_cast<const cio_String*>(known);
        }
        return;
    }
    if (marker != 0) {
        in.RecordMarker(marker, nullptr);
    }
    if (readData == &cio_String::ReadData) {
        readData(in, &into);
        return;
    }
    // A read function registered in place of ours gets the fresh object it may expect.
    const std::unique_ptr<cio_String> made(
        static_cast<cio_String*>(cio_String::CtorFunc(in, nullptr)));
    if (made != nullptr) {
        readData(in, made.get());
        into = *made;
    }
}

void vlt::detail::cio_ReadStringElement(bio_Ifilter& in, cow_String& into) {
    unsigned actual = 0;
    cio_ReadObject<cio_String>(in, into, actual);
    if (actual != cio_String::TypeId()) {
        throw omi_FatalError(omi_UnexpectedRecordMessage, 0);
    }
}
