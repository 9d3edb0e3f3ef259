#include "net/addresses.h"

#include <utility>

namespace harbinet {

std::wstring Addresses::AutomaticAddress() {
    std::vector<Route> routes = source_.ipv4_routes();
    if (routes.empty()) return {};
    std::wstring address = ChooseAddress(std::move(routes), source_.ipv4_adapters());
    if (!address.empty()) {
        automatic_.With([&address](std::wstring& cached) { cached = address; });
    }
    return address;
}

std::wstring Addresses::CachedAutomaticAddress() const {
    return automatic_.With([](const std::wstring& cached) { return cached; });
}

void Addresses::SetPreferredAddress(std::wstring address) {
    preferred_.With([&address](std::wstring& preferred) { preferred = std::move(address); });
}

std::wstring Addresses::PreferredAddress() const {
    return preferred_.With([](const std::wstring& preferred) { return preferred; });
}

std::wstring Addresses::HostForUrl() const {
    std::wstring host = PreferredAddress();
    if (host.empty()) host = CachedAutomaticAddress();
    return host.empty() ? L"localhost" : host;
}

std::wstring Addresses::CertificateAddress() {
    std::wstring address = CachedAutomaticAddress();
    if (address.empty()) address = AutomaticAddress();
    return address.empty() ? L"127.0.0.1" : address;
}

std::vector<std::wstring> Addresses::AddressList() const {
    return AddressLines(source_.all_adapters());
}

std::vector<std::wstring> Addresses::Ipv4Choices() const {
    return harbinet::Ipv4Choices(AddressList());
}

}  // namespace harbinet
