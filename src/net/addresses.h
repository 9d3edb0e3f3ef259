// The addresses the program shows: the automatic choice with its cached result, and the one the
// user picked instead. Each has a lock of its own. Thread-safe, though every caller today is the UI
// thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/guarded.h"
#include "net/address_choice.h"

namespace harbinet {

class Addresses {
public:
    // Where routes and adapters come from: the system, or a table in a test.
    struct Source {
        std::function<std::vector<Route>()> ipv4_routes;
        std::function<std::vector<Adapter>()> ipv4_adapters;
        std::function<std::vector<Adapter>()> all_adapters;
    };

    explicit Addresses(Source source) : source_(std::move(source)) {}

    // Runs the automatic choice. A result is cached; finding nothing returns empty and keeps the
    // cache.
    std::wstring AutomaticAddress();
    std::wstring CachedAutomaticAddress() const;

    // Empty means "(auto)".
    void SetPreferredAddress(std::wstring address);
    std::wstring PreferredAddress() const;

    // The preferred address, else the cached automatic one, else "localhost".
    std::wstring HostForUrl() const;

    // The cached automatic address, else a fresh choice, else "127.0.0.1". Never the preferred one.
    std::wstring CertificateAddress();

    // See AddressLines and Ipv4Choices.
    std::vector<std::wstring> AddressList() const;
    std::vector<std::wstring> Ipv4Choices() const;

private:
    const Source source_;
    Guarded<std::wstring> automatic_;
    Guarded<std::wstring> preferred_;
};

}  // namespace harbinet
