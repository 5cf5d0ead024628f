#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace shopfloor {

struct header {
    std::string name = {};
    std::string value = {};
};

/** A request as it came, or its head alone where the body is not read yet. */
struct request {
    std::string method = {};
    std::string target = {};
    std::vector<header> headers = {};
    std::string body = {};

    /** The values of all headers of that name, which is in lower case here and in any there. */
    std::vector<std::string_view> values_of(std::string_view name) const;
};

/** Whether its head says that there is a body. */
bool has_content(const request &head);

struct response {
    int status = 200;
    std::string type = "application/json";
    std::string body = {};
    std::vector<header> headers = {}; // beside those that all responses have
};

/** A text of ASCII in lower case. */
std::string lower_case(std::string_view text);

} // namespace shopfloor
