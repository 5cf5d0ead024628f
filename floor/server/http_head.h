#pragma once

#include <chrono>

#include <boost/beast/http/message.hpp>

#include "floor/requests/answers.h"

namespace shopfloor {

/** What the other side has to read the end of what it is sent, before the connection is closed. */
constexpr std::chrono::seconds farewell{2};

/** Status and headers of a response. */
template <class Body>
boost::beast::http::response<Body> head_of_response(const response &given)
{
    boost::beast::http::response<Body> head;
    head.version(11);
    head.result(static_cast<unsigned>(given.status));
    for (const auto &each : common_headers()) {
        head.set(each.name, each.value);
    }
    head.set(boost::beast::http::field::cache_control, "no-store");
    head.set(boost::beast::http::field::content_type, given.type);
    for (const auto &each : given.headers) {
        head.set(each.name, each.value);
    }
    return head;
}

} // namespace shopfloor
