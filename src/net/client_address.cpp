#include "net/client_address.h"

namespace harbinet {

std::string_view WithoutMappedPrefix(std::string_view address) {
    constexpr std::string_view kMappedPrefix = "::ffff:";
    if (address.starts_with(kMappedPrefix)) address.remove_prefix(kMappedPrefix.size());
    return address;
}

}  // namespace harbinet
