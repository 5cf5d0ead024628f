#pragma once

#include <boost/asio/ip/tcp.hpp>

#include "floor/server/service.h"

namespace shopfloor {

/** Answers the requests of a connection, one after the other, and ends with it. */
void serve_connection(service &of, boost::asio::ip::tcp::socket socket, guest who);

} // namespace shopfloor
