#include "net/address_query_win.h"

#include <cstddef>
#include <memory>
#include <span>

namespace harbinet {
namespace {

constexpr ULONG kAdapterFlags =
    GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;

std::wstring AddressText(int family, const void* address) {
    wchar_t text[INET6_ADDRSTRLEN] = L"";
    return InetNtopW(family, address, text, std::size(text)) == nullptr ? L"" : text;
}

UnicastAddress ToUnicastAddress(const SOCKADDR& address) {
    if (address.sa_family == AF_INET6) {
        const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(address);
        return {UnicastAddress::Family::kIpv6, AddressText(AF_INET6, &ipv6.sin6_addr),
                ipv6.sin6_scope_id};
    }
    const auto& ipv4 = reinterpret_cast<const sockaddr_in&>(address);
    return {UnicastAddress::Family::kIpv4, AddressText(AF_INET, &ipv4.sin_addr)};
}

Adapter ToAdapter(const IP_ADAPTER_ADDRESSES& entry) {
    Adapter adapter;
    adapter.luid = entry.Luid.Value;
    adapter.type = entry.IfType;
    adapter.is_up = entry.OperStatus == IfOperStatusUp;
    if (entry.FriendlyName != nullptr) adapter.friendly_name = entry.FriendlyName;
    if (entry.Description != nullptr) adapter.description = entry.Description;
    for (auto* unicast = entry.FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
        const SOCKADDR* const address = unicast->Address.lpSockaddr;
        if (address == nullptr) continue;
        if (address->sa_family != AF_INET && address->sa_family != AF_INET6) continue;
        adapter.addresses.push_back(ToUnicastAddress(*address));
    }
    return adapter;
}

}  // namespace

std::vector<Route> QueryIpv4Routes(const AddressQueries& queries) {
    MIB_IPFORWARD_TABLE2* rows = nullptr;
    if (queries.forward_table(AF_INET, &rows) != NO_ERROR || rows == nullptr) return {};
    const std::unique_ptr<MIB_IPFORWARD_TABLE2, decltype(&FreeMibTable)> table(rows,
                                                                               queries.free_table);
    std::vector<Route> routes;
    for (const MIB_IPFORWARD_ROW2& row : std::span(table->Table, table->NumEntries)) {
        routes.push_back({row.InterfaceLuid.Value, row.Metric, row.DestinationPrefix.PrefixLength,
                          row.DestinationPrefix.Prefix.si_family == AF_INET});
    }
    return routes;
}

std::vector<Adapter> QueryAdapters(AdapterFamilies families, const AddressQueries& queries) {
    const ULONG family = families == AdapterFamilies::kIpv4 ? AF_INET : AF_UNSPEC;
    ULONG size = 0;
    if (queries.adapters(family, kAdapterFlags, nullptr, nullptr, &size) != ERROR_BUFFER_OVERFLOW) {
        return {};
    }
    const auto buffer = std::make_unique<std::max_align_t[]>(size / sizeof(std::max_align_t) + 1);
    auto* const first = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.get());
    if (queries.adapters(family, kAdapterFlags, nullptr, first, &size) != NO_ERROR) return {};
    std::vector<Adapter> adapters;
    for (const IP_ADAPTER_ADDRESSES* entry = first; entry != nullptr; entry = entry->Next) {
        adapters.push_back(ToAdapter(*entry));
    }
    return adapters;
}

}  // namespace harbinet
