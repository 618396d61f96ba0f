#include "cio_String.h"

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "cio_Record.h"
#include "crt_Assert.h"
#include "omi_FatalError.h"
#include "pnt_PrettyPrint.h"

#include <algorithm>
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

void cio_String::ReadData(bio_Ifilter& in, void* object) {
    unsigned length = 0;
    in >> length;
    char* read = nullptr;
    in >> read;
    const std::unique_ptr<char[]> text(read);
    const unsigned textLength = static_cast<unsigned>(std::strlen(text.get()));
    CRT_CHECK(length == textLength, "length == textLength", cio_StringPath);
    cow_String& target = *static_cast<cio_String*>(object);
    target = cow_String(text.get(), std::min(length, textLength));
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

void vlt::detail::cio_ReadTemporary(bio_Ifilter& in, cow_String& into) {
    void* read = nullptr;
    unsigned actual = 0;
    unsigned marker = 0;
    bool created = false;
    obj_InputP0PtrOwned(in, &read, cio_String::TypeId(), actual, marker, created);
    // After a record of another type the stream's position within the container is lost:
    // reading on would turn every later byte into a report of its own.
    if (actual != 0 && actual != cio_String::TypeId()) {
        throw omi_FatalError(omi_UnexpectedRecordMessage, 0);
    }
    if (read != nullptr) {
        into = *static_cast<const cio_String*>(read);
    }
    if (created) {
        if (marker != 0) {
            in.RecordMarker(marker, nullptr);
        }
        cio_String::DtorFunc(read);
    }
}

void vlt::detail::cio_ReadStringElement(bio_Ifilter& in, cow_String& into) {
    unsigned actual = 0;
    cio_ReadObject<cio_String>(in, into, actual);
    if (actual != cio_String::TypeId()) {
        throw omi_FatalError(omi_UnexpectedRecordMessage, 0);
    }
}
