// The platform queries on POSIX: the network layer needs no start (a counted no-op),
// gethostname and getaddrinfo for the address, sysconf for the processors, /sys or
// /proc/cpuinfo for their speed, getpwuid_r for the user and getcwd.
#include "utl_PlatformOps.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace vlt::detail {
namespace {

// Frequencies in kHz: the rated one first, then the highest the processor reaches.
constexpr const char* frequencyFiles[] = {
    "/sys/devices/system/cpu/cpu0/cpufreq/base_frequency",
    "/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq",
};

bool ReadKiloHertz(const char* file, int& mhz) {
    std::FILE* in = std::fopen(file, "r");
    if (in == nullptr) {
        return false;
    }
    long kiloHertz = 0;
    const bool read = std::fscanf(in, "%ld", &kiloHertz) == 1 && kiloHertz > 0;
    std::fclose(in);
    if (read) {
        mhz = static_cast<int>(kiloHertz / 1000);
    }
    return read;
}

// The first "cpu MHz" line of /proc/cpuinfo belongs to processor 0.
bool ReadCpuInfoMHz(int& mhz) {
    std::FILE* in = std::fopen("/proc/cpuinfo", "r");
    if (in == nullptr) {
        return false;
    }
    char line[256];
    bool found = false;
    while (!found && std::fgets(line, sizeof line, in) != nullptr) {
        double value = 0.0;
        found = std::sscanf(line, "cpu MHz : %lf", &value) == 1 && value > 0.0;
        if (found) {
            mhz = static_cast<int>(value + 0.5);
        }
    }
    std::fclose(in);
    return found;
}

bool CopyText(const char* text, char* buffer, std::size_t capacity) {
    const std::size_t length = std::strlen(text);
    if (length >= capacity) {
        return false;
    }
    std::memcpy(buffer, text, length + 1);
    return true;
}

} // namespace

bool NetworkStart(uint16_t version, uint16_t& granted) {
    granted = version;
    return true;
}

void NetworkStop() {}

bool HostName(char* name, std::size_t capacity) {
    if (gethostname(name, capacity) != 0) {
        return false;
    }
    name[capacity - 1] = '\0';
    return true;
}

bool HostIPv4Address(const char* name, uint32_t& address) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    if (getaddrinfo(name, nullptr, &hints, &found) != 0 || found == nullptr) {
        return false;
    }
    sockaddr_in first{};
    std::memcpy(&first, found->ai_addr, sizeof first);
    freeaddrinfo(found);
    address = ntohl(first.sin_addr.s_addr);
    return true;
}

int ProcessorCount() {
    return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
}

bool ProcessorMHz(int& mhz) {
    for (const char* file : frequencyFiles) {
        if (ReadKiloHertz(file, mhz)) {
            return true;
        }
    }
    return ReadCpuInfoMHz(mhz);
}

bool UserName(char* name, std::size_t capacity) {
    long suggested = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> scratch(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) != 0 ||
        found == nullptr) {
        return false;
    }
    return CopyText(found->pw_name, name, capacity);
}

bool WorkingDirectory(char* path, std::size_t capacity) {
    return getcwd(path, capacity) != nullptr;
}

} // namespace vlt::detail
