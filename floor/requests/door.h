#pragma once

#include <string>
#include <vector>

#include "floor/requests/message.h"

namespace shopfloor {

/** Who is let in. Hosts and origins are in lower case. */
struct door_rules {
    std::vector<std::string> hosts = {};   // "localhost:8080"
    std::vector<std::string> origins = {}; // "http://localhost:8080"
    std::string token = {};
};

/**
 * Throws request_error where the head is from elsewhere: a page of another origin, or one that a
 * name was bound anew for, or more than one meaning can be read out of it.
 */
void check_source(const request &head, const door_rules &rules);

/** The same where a change lacks the token of this start or the content's type. */
void check_change(const request &head, const door_rules &rules);

/** A new one, which nobody can guess. */
std::string new_token();

} // namespace shopfloor
