#include "floor/requests/answers.h"

#include <algorithm>
#include <array>

namespace shopfloor {

namespace {

struct code_status {
    std::string_view code;
    int status;
};

constexpr std::array statuses{
    code_status{"bad_request", 400},    code_status{"bad_label", 400},
    code_status{"wrong_token", 403},    code_status{"wrong_host", 403},
    code_status{"wrong_origin", 403},   code_status{"not_found", 404},
    code_status{"no_such_slot", 404},   code_status{"slot_busy", 409},
    code_status{"slot_unplugged", 409}, code_status{"label_in_work", 409},
    code_status{"attempt_open", 409},   code_status{"already_verified", 409},
    code_status{"void", 409},           code_status{"wrong_product", 409},
    code_status{"refused", 409},        code_status{"not_waiting", 409},
    code_status{"no_printer", 409},     code_status{"no_drill", 409},
    code_status{"ledger_away", 503},    code_status{"no_answer", 504},
};

int status_of(std::string_view code)
{
    const auto *known = std::find_if(statuses.begin(), statuses.end(),
                                     [&](const code_status &each) { return each.code == code; });
    return known == statuses.end() ? 500 : known->status;
}

} // namespace

std::string text_of(const json &content)
{
    return content.dump(-1, ' ', false, json::error_handler_t::replace);
}

response json_response(int status, const json &content)
{
    return {.status = status, .body = text_of(content) + "\n"};
}

response refusal_response(const refusal &why)
{
    return json_response(
        status_of(why.code),
        {{"error", {{"code", why.code}, {"reason", why.reason}, {"advice", why.advice}}}});
}

response answer_response(int status, const answer &given)
{
    return given.refused ? refusal_response(*given.refused) : json_response(status, given.content);
}

response request_error::answered() const
{
    auto told = refusal_response({code_, what(), advice_});
    told.status = status_ == 0 ? told.status : status_;
    told.headers = headers_;
    return told;
}

const std::vector<header> &common_headers()
{
    static const std::vector<header> all{
        {"Content-Security-Policy",
         "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
         "object-src 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
    };
    return all;
}

} // namespace shopfloor
