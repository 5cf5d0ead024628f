#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "floor/model/control.h"
#include "floor/requests/message.h"

namespace shopfloor {

/** Thrown where a request is not as it should be; what() is the reason. */
class request_error : public std::runtime_error {
public:
    /** The status is that of the code unless another is given. */
    request_error(std::string code, const std::string &reason, std::string advice = {},
                  int status = 0, std::vector<header> headers = {})
        : std::runtime_error(reason), code_(std::move(code)), advice_(std::move(advice)),
          status_(status), headers_(std::move(headers))
    {
    }

    response answered() const;

private:
    std::string code_;
    std::string advice_;
    int status_;
    std::vector<header> headers_;
};

/** JSON in one line; bytes that are no UTF-8 are replaced, as in what consoles say. */
std::string text_of(const json &content);

response json_response(int status, const json &content);

/** {"error": …} with the status of its code, 500 where that is not known. */
response refusal_response(const refusal &why);

/** The answer of the floor, with this status where it is no refusal. */
response answer_response(int status, const answer &given);

/** What every response carries beside its own headers. */
const std::vector<header> &common_headers();

} // namespace shopfloor
