#include "vlt_StreamDump.h"

#include "bio_Buffer.h"
#include "bio_Device.h"
#include "bio_InternalFilter.h"
#include "crt_Assert.h"
#include "nex_Exception.h"
#include "obj_p0Interface.h"
#include "omi_FatalError.h"
#include "pnt_PrettyPrint.h"
#include "typ_ArchCompTable.h"

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace vlt::tools {

namespace {

constexpr unsigned wordSize = 4;
constexpr unsigned headerSize = 8; // type id and marker
constexpr unsigned contentWidth = 70;
constexpr char contentIndent[] = "          ";
constexpr unsigned hexPerLine = 16;
// The decoder reads through one buffer, whose offsets are 32-bit.
constexpr std::size_t maxSize = 0xffffffffu;

// The whole input as the one buffer of an input device that can be set back to any offset, so
// that the filter (and its log of markers) lives across the records while the dump chooses
// where each record starts.
class SpanDevice : public bio_Idevice {
public:
    // Takes nothing of an input too large for one buffer: the dump refuses it before reading.
    SpanDevice(const char* bytes, std::size_t size)
        : data_(size == 0 || size > maxSize ? 1u : static_cast<unsigned>(size)) {
        size = size > maxSize ? 0 : size;
        if (size != 0) {
            std::memcpy(data_.Data(), bytes, size);
        }
        data_.wr_off = static_cast<unsigned>(size);
        ended_.wr_off = 0;
        icurrent = &data_;
    }
    void pushEmpty() override {}
    // The end of the input reads as a peer that has gone: the filter throws.
    bio_Buffer& pullFull() override { return ended_; }

    void Seek(std::size_t position) {
        data_.rd_off = static_cast<unsigned>(position);
        icurrent = &data_;
    }
    std::size_t Position() const { return data_.rd_off; }

private:
    bio_Buffer data_;
    bio_Buffer ended_{1};
};

// The first assertion report while a record is decoded: the record's reader refused it.
struct Refusal {
    bool reported = false;
    std::string text;
};
Refusal refusal;

void RecordRefusal(const char* expression, const char* path, int line) {
    if (!refusal.reported) {
        refusal.reported = true;
        refusal.text =
            std::string(expression) + " (" + path + ", line " + std::to_string(line) + ")";
    }
}

class RefusalHandler {
public:
    RefusalHandler() : previous_(crt_SetAssertHandler(&RecordRefusal)) { refusal = {}; }
    ~RefusalHandler() { crt_SetAssertHandler(previous_); }
    RefusalHandler(const RefusalHandler&) = delete;
    RefusalHandler& operator=(const RefusalHandler&) = delete;

private:
    crt_AssertHandler previous_;
};

std::string Hex(uint64_t value, int digits) {
    char text[24];
    std::snprintf(text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(value));
    return text;
}

// Type ids of classes that can be read and printed; the pseudo-types (facility 0) cannot.
bool IsRecordType(uint32_t id) {
    if ((id >> 16) == 0 || !typ_ArchCompTable::Knows(id)) {
        return false;
    }
    const typ_Entry& entry = typ_ArchCompTable::GetEntry(id);
    return entry.ctor != nullptr && entry.read != nullptr && entry.print != nullptr;
}

class Dump {
public:
    Dump(const char* bytes, std::size_t size, const DumpLimits& limits, std::ostream& out)
        : bytes_(bytes), size_(size), limits_(limits), out_(out), device_(bytes, size),
          in_(device_) {}
    Dump(const Dump&) = delete;
    Dump& operator=(const Dump&) = delete;
    ~Dump() {
        for (const auto& [object, destroy] : objects_) {
            destroy(object);
        }
    }

    DumpOutcome Run();

private:
    uint32_t WordAt(std::size_t position) const {
        uint32_t word = 0;
        std::memcpy(&word, bytes_ + position, wordSize);
        return word;
    }
    bool HasWordAt(std::size_t position) const { return size_ - position >= wordSize; }
    // A known type id followed by a marker that can come next: where a run of loose bytes ends.
    bool StartsRecord(std::size_t position) const {
        return size_ - position >= headerSize && IsRecordType(WordAt(position)) &&
               WordAt(position + wordSize) <= highestMarker_ + 1;
    }
    std::string Offset(std::size_t position) const {
        return Hex(limits_.firstOffset + position, 8);
    }

    bool DumpRecord(std::size_t& position);
    void DumpLooseBytes(std::size_t& position);
    DumpOutcome Stop(std::size_t position, std::string reason) const {
        return {false, records_, limits_.firstOffset + position, std::move(reason)};
    }

    const char* bytes_;
    std::size_t size_;
    DumpLimits limits_;
    std::ostream& out_;
    SpanDevice device_;
    bio_IinternalFilter in_;
    std::vector<std::pair<void*, typ_DtorFunc>> objects_;
    uint64_t records_ = 0;
    uint32_t highestMarker_ = 0;
    std::string failure_;
};

DumpOutcome Dump::Run() {
    if (size_ == 0) {
        return Stop(0, "the stream is empty");
    }
    if (size_ > maxSize) {
        return Stop(0, "more bytes than one stream buffer holds");
    }
    std::size_t position = 0;
    while (position < size_ && records_ < limits_.maxRecords) {
        if (HasWordAt(position) && WordAt(position) == 0) {
            out_ << Offset(position) << "  null pointer\n";
            position += wordSize;
            ++records_;
        } else if (HasWordAt(position) && IsRecordType(WordAt(position))) {
            if (!DumpRecord(position)) {
                return Stop(position, failure_);
            }
            ++records_;
        } else {
            DumpLooseBytes(position);
        }
    }
    if (records_ == 0) {
        return Stop(0, "no record of a binary stream in the data");
    }
    return {true, records_, limits_.firstOffset + position, {}};
}

// Decodes the record at `position` through the type's reader and prints it; false, with the
// reason in failure_, when the reader refused it.
bool Dump::DumpRecord(std::size_t& position) {
    const uint32_t type = WordAt(position);
    const char* name = typ_ArchCompTable::GetName(type);
    if (size_ - position < headerSize) {
        failure_ = std::string("the stream ends inside the header of a ") + name + " record";
        return false;
    }
    device_.Seek(position);
    void* object = nullptr;
    unsigned actual = 0;
    unsigned marker = 0;
    bool created = false;
    const RefusalHandler handler;
    try {
        vlt::detail::obj_InputP0PtrOwned(in_, &object, type, actual, marker, created);
    } catch (const omi_FatalError& error) {
        failure_ = std::strcmp(error.Message(), omi_BrokenConnectionMessage) == 0
                       ? std::string("the stream ends inside a ") + name + " record"
                       : std::string(name) + " record: " + error.Message();
    } catch (const nex_Exception& error) {
        failure_ = std::string(name) + " record: " + error.AsString().c_str();
    }
    if (created) {
        objects_.emplace_back(object, typ_ArchCompTable::GetDtorFunc(actual));
    }
    if (failure_.empty() && refusal.reported) {
        failure_ = std::string(name) + " record refused: " + refusal.text;
    }
    if (!failure_.empty()) {
        return false;
    }
    out_ << Offset(position) << "  " << name << " 0x" << Hex(type, 8);
    if (!created) {
        out_ << " #" << marker << "#\n";
    } else {
        out_ << (marker != 0 ? " #" + std::to_string(marker) + "=" : std::string(" object"))
             << '\n';
        pnt_PrettyPrint printer(contentWidth);
        obj_PrintP0Obj(printer, object, actual);
        printer.Flush();
        const std::string text = printer.StdText();
        for (std::size_t start = 0; start < text.size();) {
            const std::size_t end = std::min(text.find('\n', start), text.size());
            out_ << contentIndent << text.substr(start, end - start) << '\n';
            start = end + 1;
        }
    }
    if (marker > highestMarker_) {
        highestMarker_ = marker;
    }
    position = device_.Position();
    return true;
}

void Dump::DumpLooseBytes(std::size_t& position) {
    const std::size_t first = position;
    ++position;
    while (position < size_ && !StartsRecord(position)) {
        ++position;
    }
    out_ << Offset(first) << "  " << position - first << " bytes in no record\n";
    for (std::size_t line = first; line < position; line += hexPerLine) {
        const std::size_t end = std::min<std::size_t>(line + hexPerLine, position);
        std::string hex;
        std::string text;
        for (std::size_t at = line; at < end; ++at) {
            const auto byte = static_cast<unsigned char>(bytes_[at]);
            hex += Hex(byte, 2) + ' ';
            text += byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
        }
        hex.resize(hexPerLine * 3, ' ');
        out_ << contentIndent << Offset(line) << "  " << hex << " |" << text << "|\n";
    }
}

} // namespace

DumpOutcome DumpStream(const char* bytes, std::size_t size, const DumpLimits& limits,
                       std::ostream& out) {
    return Dump(bytes, size, limits, out).Run();
}

} // namespace vlt::tools
