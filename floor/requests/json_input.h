#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "floor/model/control.h"

namespace shopfloor {

/**
 * The object of a request's body: each field is taken by its name and type, and none may be left
 * over. Throws request_error for all that is no such thing: other JSON, a key that is there twice,
 * bytes that are no UTF-8, more than one level.
 */
class json_input {
public:
    explicit json_input(std::string_view body);

    /** Empty where it is not there. Of the code is the refusal of a text that cannot be one. */
    std::string text(const char *name, const char *code = "bad_request");
    /** A text that must be there, and not be empty. */
    std::string needed_text(const char *name, const char *code = "bad_request");
    bool flag(const char *name);

    /** All fields have been taken. */
    void end() const;

private:
    json take(const char *name);

    json content_;
};

} // namespace shopfloor
