// Where a printer's finished lines go: a C file, a C++ stream or a text of the printer's own.
// The file and the stream stay their owner's; the printer only writes and flushes them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <ostream>
#include <string>

namespace vlt::detail {

class pnt_Sink {
public:
    virtual ~pnt_Sink() = default;
    virtual void Write(const char* text, std::size_t n) = 0;
    virtual void Flush() {}
};

class pnt_FileSink final : public pnt_Sink {
public:
    explicit pnt_FileSink(std::FILE* file) : file_(file) {}
    void Write(const char* text, std::size_t n) override {
        if (file_ != nullptr) {
            std::fwrite(text, 1, n, file_);
        }
    }
    void Flush() override {
        if (file_ != nullptr) {
            std::fflush(file_);
        }
    }

private:
    std::FILE* file_;
};

class pnt_StreamSink final : public pnt_Sink {
public:
    explicit pnt_StreamSink(std::ostream& out) : out_(out) {}
    void Write(const char* text, std::size_t n) override {
        out_.write(text, static_cast<std::streamsize>(n));
    }
    void Flush() override { out_.flush(); }

private:
    std::ostream& out_;
};

class pnt_StringSink final : public pnt_Sink {
public:
    void Write(const char* text, std::size_t n) override { text_.append(text, n); }
    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

} // namespace vlt::detail
