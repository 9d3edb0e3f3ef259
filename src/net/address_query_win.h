// Reads the routing table and the adapters from the system into plain data.
#pragma once

#include <vector>

#include "net/address_choice.h"

namespace harbinet {

// Empty when the system does not answer. Any thread.
std::vector<Route> QueryIpv4Routes();

enum class AdapterFamilies { kIpv4, kBoth };
std::vector<Adapter> QueryAdapters(AdapterFamilies families);

}  // namespace harbinet
