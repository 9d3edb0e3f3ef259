// Reads the routing table and the adapters from the system into plain data.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

// After Winsock's own headers.
#include <iphlpapi.h>

#include <vector>

#include "net/address_choice.h"

namespace harbinet {

// The system's queries; a test puts its own in their place.
struct AddressQueries {
    decltype(&GetIpForwardTable2) forward_table = GetIpForwardTable2;
    decltype(&FreeMibTable) free_table = FreeMibTable;
    decltype(&GetAdaptersAddresses) adapters = GetAdaptersAddresses;
};

// Empty when the system does not answer. Any thread.
std::vector<Route> QueryIpv4Routes(const AddressQueries& queries = {});

enum class AdapterFamilies { kIpv4, kBoth };
std::vector<Adapter> QueryAdapters(AdapterFamilies families, const AddressQueries& queries = {});

}  // namespace harbinet
