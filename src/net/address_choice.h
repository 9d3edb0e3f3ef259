// The choice of the local IPv4 address that phones on the network can reach, over plain data. Pure
// functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace harbinet {

// Interface types as the system numbers them (IANA ifType).
inline constexpr std::uint32_t kEthernet = 6;
inline constexpr std::uint32_t kPpp = 23;
inline constexpr std::uint32_t kSoftwareLoopback = 24;
inline constexpr std::uint32_t kWireless = 71;
inline constexpr std::uint32_t kTunnel = 131;

struct UnicastAddress {
    enum class Family { kIpv4, kIpv6 };
    Family family = Family::kIpv4;
    std::wstring text;           // without scope; empty when it could not be converted
    std::uint32_t scope_id = 0;  // IPv6 only
};

struct Adapter {
    std::uint64_t luid = 0;
    std::uint32_t type = 0;
    bool is_up = false;
    std::wstring friendly_name;
    std::wstring description;
    std::vector<UnicastAddress> addresses;
};

// One row of the IPv4 routing table.
struct Route {
    std::uint64_t luid = 0;
    std::uint32_t metric = 0;
    std::uint8_t prefix_length = 0;
    bool is_ipv4 = true;
};

// Addresses of adapters that found no network.
inline constexpr std::wstring_view kLinkLocalPrefix = L"169.254.";

// What stands before the address in each line of AddressLines.
inline constexpr std::wstring_view kIpv4Marker = L"| IPv4 ";
inline constexpr std::wstring_view kIpv6Marker = L"| IPv6 ";

bool IsVpnOrVirtual(const Adapter& adapter);

// The first IPv4 address that is neither 0.0.0.0 nor link-local; empty when there is none.
std::wstring FirstUsableIpv4(const Adapter& adapter);

// The address to show and to certify: a physical adapter on a default route before any other real
// one before a VPN; lower metrics first. Empty when no default route leads to an address.
std::wstring ChooseAddress(std::vector<Route> routes, const std::vector<Adapter>& adapters);

// One line per address of each adapter that is up and no loopback: name, blank, marker, address.
std::vector<std::wstring> AddressLines(const std::vector<Adapter>& adapters);

// The distinct usable IPv4 addresses in `address_lines`, sorted as texts.
std::vector<std::wstring> Ipv4Choices(const std::vector<std::wstring>& address_lines);

}  // namespace harbinet
