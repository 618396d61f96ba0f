// The error value that the binary streams throw for conditions outside the program's control:
// a full loopback buffer, a peer that has gone, a stream that ends inside a value.
//
// It stands outside the `nex_Exception` tree on purpose: handlers for `nex_Exception&` do not
// catch it, and it is not registered with the type table. Throw and catch it by value (or by
// const reference). The message is either a constant text, which the error merely points at,
// or a heap copy that the error owns and copies along with itself.
#pragma once

#include "vlt_Export.h"

#include <cstdint>

class VLTUTL_API omi_FatalError {
public:
    // Points at `message`, which must outlive the error (a string literal).
    omi_FatalError(const char* message, int32_t code) noexcept;
    // Keeps a heap copy of `message`, for texts that are built or borrowed.
    static omi_FatalError Copied(const char* message, int32_t code);

    omi_FatalError(const omi_FatalError& other);
    omi_FatalError& operator=(const omi_FatalError& other);
    ~omi_FatalError();

    const char* Message() const noexcept { return message_; }
    int32_t Code() const noexcept { return code_; }

private:
    const char* message_;
    int32_t code_;
    bool owned_ = false;
};

// The texts of the errors the library throws itself, for clients that compare them.
inline constexpr char omi_BufferOverflowMessage[] = "buffer overflow in oMemoryDevice";
inline constexpr char omi_BrokenConnectionMessage[] =
    "The other side of the connection exited breaking the socket connection";
inline constexpr char omi_ReadPastEndMessage[] = "read past the end of a memory filter";
inline constexpr char omi_NotStartedMessage[] =
    "record of a registered type before the library was started: call utl_initialize first";
inline constexpr char omi_UnexpectedRecordMessage[] =
    "stream record of another type inside a container";
inline constexpr char omi_RecordTooLongMessage[] =
    "stream record longer than the stream can vouch for";
