// The address a live page is served on, as a user types it ("host:port"): what is wrong with it,
// in words that name it, or "" when it is good. One check for cirrow-aircraft, cirrow-plot and
// the page's server.
#pragma once

#include <string>

namespace view {

inline std::string address_problem(const std::string &address) {
    const size_t colon = address.rfind(':');
    const std::string port = colon == std::string::npos ? "" : address.substr(colon + 1);
    if (colon == 0 || port.empty() || port.size() > 9 || port.find_first_not_of("0123456789") != std::string::npos) {
        return address + ": expected HOST:PORT, the port a number from 0 to 65535";
    }
    if (std::stol(port) > 65535) {
        return address + ": port " + port + " is out of range (0 to 65535)";
    }
    return "";
}

}  // namespace view
