#pragma once

#include "floor/requests/routes.h"
#include "floor/server/long_response.h"

namespace shopfloor {

/** Sends all rows that the filters let through, a page of them in memory at a time. */
void send_export(service &of, boost::beast::tcp_stream stream, guest who, export_wanted wanted);

} // namespace shopfloor
