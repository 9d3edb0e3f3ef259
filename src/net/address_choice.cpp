#include "net/address_choice.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "app/ascii.h"

namespace harbinet {
namespace {

// Found anywhere in a name. Broad on purpose: "pan", "tap" and "secure" also hit unrelated names.
constexpr std::array<std::wstring_view, 25> kVirtualKeywords = {
    L"vpn",        L"wireguard",     L"openvpn",      L"wintun",  L"tunnel",
    L"tap",        L"tailscale",     L"zerotier",     L"hamachi", L"forticlient",
    L"anyconnect", L"globalprotect", L"pulse secure", L"citrix",  L"checkpoint",
    L"juniper",    L"palo alto",     L"pan",          L"secure",  L"virtual",
    L"vmware",     L"hyper-v",       L"virtualbox",   L"ndis",    L"ppp",
};

bool HasVirtualKeyword(const std::wstring& name) {
    const std::wstring lower = LowerAsciiText(name);
    return std::any_of(
        kVirtualKeywords.begin(), kVirtualKeywords.end(),
        [&lower](std::wstring_view keyword) { return lower.find(keyword) != std::wstring::npos; });
}

bool IsUsableIpv4(std::wstring_view text) {
    return !text.empty() && text != L"0.0.0.0" && !text.starts_with(kLinkLocalPrefix);
}

const Adapter* FindUpAdapter(const std::vector<Adapter>& adapters, std::uint64_t luid) {
    const auto found = std::find_if(adapters.begin(), adapters.end(),
                                    [luid](const Adapter& a) { return a.is_up && a.luid == luid; });
    return found == adapters.end() ? nullptr : &*found;
}

void RememberFirst(std::wstring& candidate, const std::wstring& address) {
    if (candidate.empty()) candidate = address;
}

}  // namespace

bool IsVpnOrVirtual(const Adapter& adapter) {
    return adapter.type == kPpp || adapter.type == kSoftwareLoopback || adapter.type == kTunnel ||
           HasVirtualKeyword(adapter.friendly_name) || HasVirtualKeyword(adapter.description);
}

std::wstring FirstUsableIpv4(const Adapter& adapter) {
    for (const UnicastAddress& address : adapter.addresses) {
        if (address.family == UnicastAddress::Family::kIpv4 && IsUsableIpv4(address.text)) {
            return address.text;
        }
    }
    return {};
}

std::wstring ChooseAddress(std::vector<Route> routes, const std::vector<Adapter>& adapters) {
    std::erase_if(routes, [](const Route& r) { return !r.is_ipv4 || r.prefix_length != 0; });
    std::stable_sort(routes.begin(), routes.end(),
                     [](const Route& a, const Route& b) { return a.metric < b.metric; });
    std::wstring any_route;
    std::wstring plain;
    std::wstring physical;
    for (const Route& route : routes) {
        const Adapter* const adapter = FindUpAdapter(adapters, route.luid);
        if (adapter == nullptr) continue;
        const std::wstring address = FirstUsableIpv4(*adapter);
        if (address.empty()) continue;
        RememberFirst(any_route, address);
        if (IsVpnOrVirtual(*adapter)) continue;
        RememberFirst(plain, address);
        if (adapter->type == kEthernet || adapter->type == kWireless) {
            RememberFirst(physical, address);
        }
    }
    if (!physical.empty()) return physical;
    return plain.empty() ? any_route : plain;
}

std::vector<std::wstring> AddressLines(const std::vector<Adapter>& adapters) {
    std::vector<std::wstring> lines;
    for (const Adapter& adapter : adapters) {
        if (!adapter.is_up || adapter.type == kSoftwareLoopback) continue;
        const std::wstring name =
            adapter.friendly_name.empty() ? L"(unknown)" : adapter.friendly_name;
        for (const UnicastAddress& address : adapter.addresses) {
            if (address.text.empty()) continue;
            const bool is_ipv4 = address.family == UnicastAddress::Family::kIpv4;
            std::wstring line = name + L' ';
            line += is_ipv4 ? kIpv4Marker : kIpv6Marker;
            line += address.text;
            if (!is_ipv4 && address.scope_id != 0) line += L"%" + std::to_wstring(address.scope_id);
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

std::vector<std::wstring> Ipv4Choices(const std::vector<std::wstring>& address_lines) {
    std::vector<std::wstring> choices;
    for (const std::wstring& line : address_lines) {
        const std::size_t marker = line.find(kIpv4Marker);
        if (marker == std::wstring::npos) continue;
        std::wstring address = line.substr(marker + kIpv4Marker.size());
        if (IsUsableIpv4(address)) choices.push_back(std::move(address));
    }
    std::sort(choices.begin(), choices.end());
    choices.erase(std::unique(choices.begin(), choices.end()), choices.end());
    return choices;
}

}  // namespace harbinet
