// Printable values on a text stream: a printer lays them out onto a standard stream whose
// buffer is the text stream itself.
#include "utl_Stream.h"

#include <exception>
#include <ostream>
#include <streambuf>

namespace {

// Hands every byte to the text stream. A failure of the text stream is kept rather than thrown
// through the printer, whose destructor writes what is still pending and must not meet it
// again; the printer's own output after the failure is dropped.
class TextStreamBuffer final : public std::streambuf {
public:
    explicit TextStreamBuffer(utl_Stream& stream) : stream_(stream) {}

    std::exception_ptr Failure() const { return failure_; }

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        if (failure_ != nullptr) {
            return 0;
        }
        try {
            stream_.Write(bytes, static_cast<std::size_t>(count));
        } catch (...) {
            failure_ = std::current_exception();
            return 0;
        }
        return count;
    }

    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) {
            return traits_type::not_eof(c);
        }
        const char byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }

private:
    utl_Stream& stream_;
    std::exception_ptr failure_;
};

} // namespace

void utl_Stream::Print(PrintFunction print, const void* value) {
    // A misused stream refuses before anything is laid out.
    RequireOutput();
    TextStreamBuffer buffer(*this);
    {
        std::ostream out(&buffer);
        out.precision(m_PrintFormat.precision);
        pnt_PrettyPrint pp(out, m_PrintFormat.width);
        print(pp, value);
        pp.Flush();
    }
    if (buffer.Failure() != nullptr) {
        std::rethrow_exception(buffer.Failure());
    }
}
