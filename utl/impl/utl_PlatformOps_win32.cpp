// The platform queries on Windows: Winsock for the network layer and the host address,
// GetSystemInfo for the processors, the registry's description of processor 0 for its speed,
// GetUserNameA for the user and the runtime's _getcwd.
#include "utl_PlatformOps.h"

#include "omn_System.h"

#include <windows.h>
#include <winsock2.h>

#include <direct.h>

#include <cstring>

namespace vlt::detail {
namespace {

constexpr char processorKey[] = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
// Systems spell the value's name three ways; this order is the one the clients have always
// seen.
constexpr const char* speedValueNames[] = {"~MHz", "~Mhz", "~mhz"};

bool ReadDoubleWord(HKEY key, const char* name, DWORD& value) {
    DWORD size = sizeof value;
    return RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size) ==
           ERROR_SUCCESS;
}

bool ReadSpeed(HKEY key, DWORD& mhz) {
    for (const char* name : speedValueNames) {
        if (ReadDoubleWord(key, name, mhz)) {
            return true;
        }
    }
    return false;
}

} // namespace

// The version word is Winsock's own: major in the low byte, minor in the high byte.
bool NetworkStart(uint16_t version, uint16_t& granted) {
    WSADATA layer{};
    // The start answers its error instead of leaving it as the thread's last error.
    const int error = WSAStartup(version, &layer);
    if (error != 0) {
        SystemSetLastError(error);
        return false;
    }
    granted = layer.wVersion;
    return true;
}

void NetworkStop() {
    WSACleanup();
}

bool HostName(char* name, std::size_t capacity) {
    return gethostname(name, static_cast<int>(capacity)) == 0;
}

bool HostIPv4Address(const char* name, uint32_t& address) {
    const hostent* host = gethostbyname(name);
    if (host == nullptr || host->h_addrtype != AF_INET || host->h_addr_list[0] == nullptr) {
        return false;
    }
    u_long first = 0;
    std::memcpy(&first, host->h_addr_list[0], sizeof first);
    address = ntohl(first);
    return true;
}

int ProcessorCount() {
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    return static_cast<int>(system.dwNumberOfProcessors);
}

bool ProcessorMHz(int& mhz) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, processorKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    DWORD speed = 0;
    const bool found = ReadSpeed(key, speed);
    RegCloseKey(key);
    if (found) {
        mhz = static_cast<int>(speed);
    }
    return found;
}

bool UserName(char* name, std::size_t capacity) {
    DWORD size = static_cast<DWORD>(capacity);
    return GetUserNameA(name, &size);
}

bool WorkingDirectory(char* path, std::size_t capacity) {
    return _getcwd(path, static_cast<int>(capacity)) != nullptr;
}

} // namespace vlt::detail
