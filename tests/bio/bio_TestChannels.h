// Writer/reader pairs over each kind of concrete filter, for tests that must hold for all of
// them, and small devices that cut a stream into buffers of a few bytes.
#pragma once

#include "bio_IOmemFilter.h"
#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace vlt::test {

using Bytes = std::vector<uint8_t>;

// An output device whose buffers hold `size` bytes each; every pushed buffer is appended to
// `Pushed()` and its length to `Cuts()`.
class PieceSink : public bio_Odevice {
public:
    explicit PieceSink(unsigned size) : buffer_(size) {}
    void donePushing() override {
        if (ocurrent != nullptr) {
            pushFull();
        }
    }
    void pushFull() override {
        pushed_.append(buffer_.Data(), buffer_.wr_off);
        cuts_.push_back(buffer_.wr_off);
        buffer_.wr_off = 0;
    }
    bio_Buffer& pullEmpty() override {
        ++pulls_;
        return buffer_;
    }
    const std::string& Pushed() const { return pushed_; }
    const std::vector<unsigned>& Cuts() const { return cuts_; }
    int Pulls() const { return pulls_; }

private:
    bio_Buffer buffer_;
    std::string pushed_;
    std::vector<unsigned> cuts_;
    int pulls_ = 0;
};

// An input device that hands out `bytes` in buffers of at most `size` bytes, then empty
// buffers (the peer has gone).
class PieceSource : public bio_Idevice {
public:
    PieceSource(std::string bytes, unsigned size) : bytes_(std::move(bytes)), buffer_(size) {}
    void pushEmpty() override { ++pushes_; }
    bio_Buffer& pullFull() override {
        ++pulls_;
        const std::size_t k = std::min<std::size_t>(buffer_.buffLen(), bytes_.size() - next_);
        std::memcpy(buffer_.Data(), bytes_.data() + next_, k);
        next_ += k;
        buffer_.rd_off = 0;
        buffer_.wr_off = static_cast<uint32_t>(k);
        return buffer_;
    }
    int Pushes() const { return pushes_; }
    int Pulls() const { return pulls_; }

private:
    std::string bytes_;
    std::size_t next_ = 0;
    bio_Buffer buffer_;
    int pushes_ = 0;
    int pulls_ = 0;
};

// bio_IOmemFilter writing and reading its own block.
struct MemChannel {
    static constexpr bool countsBytes = false;
    bio_IOmemFilter mem{16};
    bio_Ofilter& Out() { return mem; }
    bio_Ifilter& In() { return mem; }
    Bytes Written() { return Bytes(mem.Data(), mem.Data() + mem.Written()); }
};

// The internal filters over a loopback of memory devices.
struct LoopChannel {
    static constexpr bool countsBytes = true;
    bio_Buffer buffer{4096};
    bio_OmemoryDevice odev{buffer};
    bio_ImemoryDevice idev{buffer};
    bio_OinternalFilter out{odev};
    bio_IinternalFilter in{idev};
    bio_Ofilter& Out() { return out; }
    bio_Ifilter& In() { return in; }
    Bytes Written() { return Bytes(buffer.Data(), buffer.Data() + buffer.wr_off); }
};

// The internal filters over devices with 3-byte buffers, so that most values are split.
struct SplitChannel {
    static constexpr bool countsBytes = true;
    PieceSink sink{3};
    bio_OinternalFilter out{sink};
    std::unique_ptr<PieceSource> source;
    std::unique_ptr<bio_IinternalFilter> in;
    bio_Ofilter& Out() { return out; }
    // The reader starts on what has been written so far.
    bio_Ifilter& In() {
        if (!in) {
            sink.donePushing();
            source = std::make_unique<PieceSource>(sink.Pushed(), 3);
            in = std::make_unique<bio_IinternalFilter>(*source);
        }
        return *in;
    }
    Bytes Written() {
        sink.donePushing();
        return Bytes(sink.Pushed().begin(), sink.Pushed().end());
    }
};

} // namespace vlt::test
