#include "pnt_PrettyPrint.h"

#include "pnt_Layout.h"
#include "pnt_Sink.h"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace {

constexpr char pnt_PrettyPrintSourcePath[] = "pnt/impl/pnt_PrettyPrint";

// The same shape as the pointer logs of the binary filters.

bool isControlLetter(char c) {
    return c != '\0' && std::strchr("{}tuonc", c) != nullptr;
}

} // namespace

pnt_PrettyPrint::pnt_PrettyPrint(unsigned width)
    : sink_(std::make_unique<vlt::detail::pnt_StringSink>()),
      text_(static_cast<vlt::detail::pnt_StringSink*>(sink_.get())),
      layout_(std::make_unique<vlt::detail::pnt_Layout>(*sink_, width, DefaultIndentStep)) {}

pnt_PrettyPrint::pnt_PrettyPrint(std::FILE* file, unsigned width)
    : sink_(std::make_unique<vlt::detail::pnt_FileSink>(file)), text_(nullptr),
      layout_(std::make_unique<vlt::detail::pnt_Layout>(*sink_, width, DefaultIndentStep)) {
    CRT_CHECK(file != nullptr, "file != 0", pnt_PrettyPrintSourcePath);
}

pnt_PrettyPrint::pnt_PrettyPrint(std::ostream& out, unsigned width)
    : sink_(std::make_unique<vlt::detail::pnt_StreamSink>(out)), text_(nullptr),
      layout_(std::make_unique<vlt::detail::pnt_Layout>(*sink_, width, DefaultIndentStep)) {
    SetPrecision(static_cast<int>(out.precision()));
}

pnt_PrettyPrint::~pnt_PrettyPrint() {
    layout_->Flush();
}

pnt_PrettyPrint& pnt_PrettyPrint::Output(const char* text) {
    if (text != nullptr) {
        outputText(text, std::strlen(text));
    }
    return *this;
}

pnt_PrettyPrint& pnt_PrettyPrint::Output(const char* text, std::size_t n) {
    if (text != nullptr) {
        outputText(text, n);
    }
    return *this;
}

// Splits the text at line ends and escape sequences; an ESC before anything but a control
// letter stays in the text.
void pnt_PrettyPrint::outputText(const char* text, std::size_t n) {
    std::size_t start = 0;
    std::size_t i = 0;
    if (escapePending_ && n > 0) {
        escapePending_ = false;
        if (isControlLetter(text[0])) {
            escape(text[0]);
            start = i = 1;
        } else {
            layout_->Text(&pnt_Escape, 1);
        }
    }
    for (; i < n; ++i) {
        const char c = text[i];
        if (c != '\n' && c != pnt_Escape) {
            continue;
        }
        if (c == pnt_Escape && i + 1 < n && !isControlLetter(text[i + 1])) {
            continue;
        }
        layout_->Text(text + start, i - start);
        start = i + 1;
        if (c == '\n') {
            layout_->Break(vlt::detail::pnt_BreakKind::NewLine);
        } else if (i + 1 == n) {
            escapePending_ = true;
        } else {
            escape(text[++i]);
            start = i + 1;
        }
    }
    layout_->Text(text + start, n - start);
}

void pnt_PrettyPrint::escape(char letter) {
    using vlt::detail::pnt_BreakKind;
    switch (letter) {
    case '{':
        layout_->Open();
        break;
    case '}':
        layout_->Close();
        break;
    case 't':
        layout_->Indent();
        break;
    case 'u':
        layout_->Unindent();
        break;
    case 'o':
        layout_->Break(pnt_BreakKind::Optional);
        break;
    case 'n':
        layout_->Break(pnt_BreakKind::NewLine);
        break;
    case 'c':
        layout_->Break(pnt_BreakKind::Conditional);
        break;
    default:
        break;
    }
}

namespace {

template <class Integer>
pnt_PrettyPrint& printInteger(pnt_PrettyPrint& pp, Integer value, int base = 10) {
    char digits[32];
    const auto result = std::to_chars(digits, digits + sizeof digits, value, base);
    return pp.Output(digits, static_cast<std::size_t>(result.ptr - digits));
}

} // namespace

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(int value) {
    return printInteger(*this, value);
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(long value) {
    return printInteger(*this, value);
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(long long value) {
    return printInteger(*this, value);
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(unsigned value) {
    return printInteger(*this, value);
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(unsigned long value) {
    return printInteger(*this, value);
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(unsigned long long value) {
    return printInteger(*this, value);
}

// to_chars gives the text of "%.*g" in the C locale, with the same two-digit exponents on
// every runtime library.
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(double value) {
    char digits[64];
    const auto result = std::to_chars(digits, digits + sizeof digits, value,
                                      std::chars_format::general, precision_);
    return Output(digits, static_cast<std::size_t>(result.ptr - digits));
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(const void* address) {
    Output("0x", 2);
    return printInteger(*this, reinterpret_cast<std::uintptr_t>(address), 16);
}

void pnt_PrettyPrint::Flush() {
    layout_->Flush();
}

cow_String pnt_PrettyPrint::Text() {
    Flush();
    if (text_ == nullptr) {
        return cow_String();
    }
    const std::string& text = text_->Text();
    return cow_String(text.data(), static_cast<unsigned>(text.size()));
}

std::string pnt_PrettyPrint::StdText() {
    Flush();
    return text_ != nullptr ? text_->Text() : std::string();
}

unsigned pnt_PrettyPrint::Width() const {
    return layout_->Width();
}

void pnt_PrettyPrint::SetIndentStep(unsigned columns) {
    layout_->SetIndentStep(columns);
}

pnt_PrettyPrint::BufferUse pnt_PrettyPrint::BufferLimit() const {
    return layout_->Limit();
}

pnt_PrettyPrint::BufferUse pnt_PrettyPrint::BufferHighWater() const {
    return layout_->HighWater();
}

void pnt_PrettyPrint::ClearPointerLog() {
    pointerLog_.Clear();
    nextmarker_ = 1;
}

void pnt_PrettyPrint::PrintMarker(unsigned marker) {
    *this << '#' << marker << '=';
}

void pnt_PrettyPrint::PrintPtr(unsigned marker) {
    *this << '#' << marker << '#';
}

void pnt_PrettyPrint::StartDebug(const char* file, int line) {
    layout_->Flush();
    if (!layout_->AtLineStart()) {
        layout_->Break(vlt::detail::pnt_BreakKind::NewLine);
    }
    ++debugDepth_;
    *this << (file != nullptr ? file : "?") << ':' << line << ": " << pnt_IndentIn << pnt_GroupOpen;
}

void pnt_PrettyPrint::EndDebug() {
    CRT_CHECK(debugDepth_ > 0, "debugDepth_ > 0", pnt_PrettyPrintSourcePath);
    if (debugDepth_ == 0) {
        return;
    }
    *this << pnt_GroupClose << pnt_IndentOut << pnt_NewLine;
    layout_->Flush();
    if (--debugDepth_ == 0) {
        ClearPointerLog();
    }
}
