// The ports the server listens on.
#pragma once

namespace harbinet {

inline constexpr int kAdministratorPort = 443;  // the one that an https address need not name
inline constexpr int kUserPort = 8443;

constexpr int ServerPort(bool is_administrator) {
    return is_administrator ? kAdministratorPort : kUserPort;
}

}  // namespace harbinet
