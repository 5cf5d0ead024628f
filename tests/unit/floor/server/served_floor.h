#pragma once

#include "floor/server/server.h"
#include "unit/floor/server/raw_connection.h"
#include "unit/floor/stand_in.h"

namespace floor_tests {

/** A stand-in with its server, on a port that the system chose. */
template <class Floor = stand_in>
struct served_floor {
    explicit served_floor(stand_in_settings made_up = {},
                          const shopfloor::server_limits &limits = {})
        : floor(made_up), server(floor, {.port = 0, .limits = limits})
    {
        server.start();
    }

    std::uint16_t port() const { return server.port(); }

    /** The response to a request on a connection of its own. */
    std::string response_to(std::string_view request) const
    {
        raw_connection to(port());
        to.send(request);
        return to.read_response();
    }

    Floor floor;
    shopfloor::server server;
};

} // namespace floor_tests
