#include "AssertRecorder.h"

namespace vlt::test {

namespace {
AssertRecorder* active = nullptr;
} // namespace

std::ostream& operator<<(std::ostream& out, const AssertReport& report) {
    return out << '"' << report.expression << "\" at " << report.path << ':' << report.line;
}

AssertRecorder::AssertRecorder() : previous(crt_SetAssertHandler(&Record)), outer(active) {
    active = this;
}

AssertRecorder::~AssertRecorder() {
    active = outer;
    crt_SetAssertHandler(previous);
}

std::vector<std::string> AssertRecorder::Expressions() const {
    std::vector<std::string> texts;
    for (const AssertReport& report : reports) {
        texts.push_back(report.expression);
    }
    return texts;
}

void AssertRecorder::Record(const char* expression, const char* path, int line) {
    active->reports.push_back({expression, path, line});
}

} // namespace vlt::test
