// The operating-system operations behind the platform queries (utl_Platform.h).
//
// utl_Platform.cpp keeps the fall-back answers, the version check and the use count of the
// network layer; each platform implements these in utl_PlatformOps_<os>.cpp. None of them
// throws.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlt::detail {

// Starts the network layer asking for `version` (major in the low byte, minor in the high
// byte); true on success, with the version granted.
bool NetworkStart(uint16_t version, uint16_t& granted);
void NetworkStop();

// The host's name, NUL-terminated; false when it does not fit.
bool HostName(char* name, std::size_t capacity);
// The first IPv4 address of the named host, in host byte order; false when there is none.
bool HostIPv4Address(const char* name, uint32_t& address);

// The processors the system counts (may be 0 or less when it cannot tell).
int ProcessorCount();
// The clock speed of processor 0 in MHz; false when the system does not tell.
bool ProcessorMHz(int& mhz);

// Copy a NUL-terminated text into a caller's buffer of `capacity` bytes; false when the system
// cannot tell or the text does not fit.
bool UserName(char* name, std::size_t capacity);
bool WorkingDirectory(char* path, std::size_t capacity);

} // namespace vlt::detail
