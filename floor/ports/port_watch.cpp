#include "floor/ports/port_watch.h"

#include <filesystem>

namespace shopfloor {

std::optional<serial_port> port_at(port_watch &watch, const std::string &place)
{
    if (place.starts_with('/')) {
        std::error_code error;
        return std::filesystem::exists(place, error) ? std::optional(serial_port{place, place, ""})
                                                     : std::nullopt;
    }
    for (auto &each : watch.ports()) {
        if (each.place == place) {
            return each;
        }
    }
    return std::nullopt;
}

} // namespace shopfloor
