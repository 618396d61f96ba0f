// The platform queries: fall-back answers, the network layer's version check and use count.
#include "utl_Platform.h"

#include "crt_Assert.h"
#include "utl_PlatformOps.h"

namespace {

constexpr char hostAddressPath[] = "utl/impl/utl_getHostIPAddress";
constexpr uint16_t inetVersion = 0x0002;      // 2.0
constexpr uint16_t hostQueryVersion = 0x0101; // 1.1
constexpr std::size_t hostNameCapacity = 256;
constexpr std::size_t userNameCapacity = 257;
#if defined(_WIN32)
constexpr std::size_t workingDirectoryCapacity = 260;
#else
constexpr std::size_t workingDirectoryCapacity = 4096; // the Linux path limit
#endif

unsigned inetStarts = 0;

bool StartNetwork(uint16_t version, uint16_t& granted) {
    if (!vlt::detail::NetworkStart(version, granted)) {
        return false;
    }
    ++inetStarts;
    return true;
}

// A stop without a start does nothing, as the system's own stop refuses it.
void StopNetwork() {
    if (inetStarts == 0) {
        return;
    }
    vlt::detail::NetworkStop();
    --inetStarts;
}

template <std::size_t Capacity>
cow_String QueryText(bool (*query)(char*, std::size_t)) {
    char text[Capacity];
    return query(text, Capacity) ? cow_String(text) : cow_String();
}

} // namespace

void utl_InetInitialize() {
    uint16_t granted = 0;
    if (!StartNetwork(inetVersion, granted)) {
        crt_Assert("Can't find Winsock DLL", hostAddressPath, __LINE__);
        return;
    }
    if (granted == inetVersion) {
        return;
    }
    StopNetwork();
    crt_Assert("Improper Winsock DLL version", hostAddressPath, __LINE__);
}

void utl_InetFinalize() {
    StopNetwork();
}

unsigned utl_getHostIPAddress() {
    uint16_t granted = 0;
    if (!StartNetwork(hostQueryVersion, granted)) {
        return 0;
    }
    char name[hostNameCapacity];
    uint32_t address = 0;
    if (!vlt::detail::HostName(name, sizeof name) || !vlt::detail::HostIPv4Address(name, address)) {
        return 0;
    }
    return address;
}

int utl_getNumberCpus() {
    const int count = vlt::detail::ProcessorCount();
    return count > 0 ? count : 1;
}

int utl_getCpusClockSpeed() {
    int mhz = 0;
    return vlt::detail::ProcessorMHz(mhz) ? mhz : -1;
}

cow_String utl_getPlatform() {
    return "nt";
}

cow_String utl_getUserName() {
    return QueryText<userNameCapacity>(vlt::detail::UserName);
}

cow_String utl_getcwd() {
    return QueryText<workingDirectoryCapacity>(vlt::detail::WorkingDirectory);
}

unsigned vlt::detail::utl_InetUseCount() {
    return inetStarts;
}
