#include "proxy_uuid.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>
#include <span>
#include <string_view>

#include "FileDescriptor.h"
#include "StandardStreams.h"

namespace {

constexpr std::size_t kMaxInterfaces = 16;
constexpr std::size_t kAddressBytes = 6;
constexpr std::size_t kCpuIdCharacters = 15;
constexpr const char* kNoAddress = "00-00-00-00-00-00";

class DatagramSocket {
  public:
    DatagramSocket() : socket_(StandardStreams::OpenSocket(AF_INET, SOCK_DGRAM, 0)) {}

    bool IsOpen() const { return socket_.IsOpen(); }
    bool Query(unsigned long request, void* argument) const {
        return ::ioctl(socket_.Get(), request, argument) == 0;
    }

  private:
    const FileDescriptor socket_;
};

std::string FormatHardwareAddress(const sockaddr& address) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const char character : std::span(address.sa_data).first<kAddressBytes>()) {
        const auto byte = static_cast<unsigned char>(character);
        text += text.empty() ? "" : "-";
        text += {kDigits[byte / 16], kDigits[byte % 16]};
    }
    return text;
}

}  // namespace

constinit RWLock g_uuid_lock{true};

bool get_uuid(std::string& uuid) {
    return get_mac_address(uuid);
}

bool get_mac_address(std::string& strMacAddress) {
    const RWLockGuard guard(g_uuid_lock, kReadLockAction);
    const DatagramSocket socket;
    std::array<ifreq, kMaxInterfaces> interfaces{};
    ifconf list{};
    list.ifc_len = sizeof interfaces;
    list.ifc_req = interfaces.data();
    if (!socket.IsOpen() || !socket.Query(SIOCGIFCONF, &list)) {
        return false;
    }
    std::string address;
    for (std::size_t i = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq); i-- > 0;) {
        if (socket.Query(SIOCGIFHWADDR, &interfaces[i])) {
            address = FormatHardwareAddress(interfaces[i].ifr_hwaddr);
            if (address != kNoAddress) {
                break;
            }
        }
    }
    std::string cpu_id;
    GetCpuId(cpu_id);
    strMacAddress = address + cpu_id;
    return !strMacAddress.empty();
}

void GetCpuId(std::string& strCPUID) {
    strCPUID.assign(kCpuIdCharacters, '0');
}
