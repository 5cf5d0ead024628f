#include "floor/requests/door.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include "floor/requests/answers.h"

namespace shopfloor {

namespace {

bool is_listed(const std::vector<std::string> &list, std::string_view text)
{
    return std::find(list.begin(), list.end(), lower_case(text)) != list.end();
}

/** Of those headers that change what a request means, two are one too many. */
void check_single(const request &head)
{
    for (const std::string_view name : {"host", "origin", "content-length", "transfer-encoding",
                                        "content-type", "x-setmac-token", "last-event-id"}) {
        if (head.values_of(name).size() > 1) {
            throw request_error("bad_request",
                                "the header " + std::string(name) + " is there twice");
        }
    }
}

/** Browsers tell where a request comes from, also those that have no Origin. */
bool is_from_elsewhere(const request &head)
{
    const auto site = head.values_of("sec-fetch-site");
    return std::any_of(site.begin(), site.end(), [](std::string_view each) {
        return each != "same-origin" && each != "none";
    });
}

/** Where a body ends must be plain: another reader on the way may see another end. */
void check_length(const request &head)
{
    const auto length = head.values_of("content-length");
    const auto coding = head.values_of("transfer-encoding");
    const bool plain_length =
        length.empty() ||
        (!length[0].empty() && length[0].find_first_not_of("0123456789") == std::string_view::npos);
    const bool plain_coding = coding.empty() || lower_case(coding[0]) == "chunked";
    if (!plain_length || !plain_coding || (!length.empty() && !coding.empty())) {
        throw request_error("bad_request", "where the content ends is not plain");
    }
}

bool is_same(std::string_view one, std::string_view other)
{
    return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

} // namespace

void check_source(const request &head, const door_rules &rules)
{
    check_single(head);
    check_length(head);
    const auto host = head.values_of("host");
    if (host.empty() || !is_listed(rules.hosts, host[0])) {
        throw request_error("wrong_host", "this floor does not go by that name",
                            "Open it by an address that the floor lists as its own");
    }
    const auto origin = head.values_of("origin");
    if (!origin.empty() && !is_listed(rules.origins, origin[0])) {
        throw request_error("wrong_origin", "a page of another origin has no business here");
    }
    if (head.target.starts_with("/api/") && is_from_elsewhere(head)) {
        throw request_error("wrong_origin", "a page of another site has no business here");
    }
}

void check_change(const request &head, const door_rules &rules)
{
    const auto token = head.values_of("x-setmac-token");
    if (token.empty() || !is_same(token[0], rules.token)) {
        throw request_error("wrong_token", "the token is not that of this start of the floor",
                            "Ask GET /api/session for it");
    }
    const auto type = head.values_of("content-type");
    const auto media = type.empty() ? "" : lower_case(type[0].substr(0, type[0].find(';')));
    if (media != "application/json") {
        throw request_error("bad_request", "the content is not of the type application/json", "",
                            415);
    }
}

std::string new_token()
{
    std::array<unsigned char, 32> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw std::runtime_error("the system gives no random numbers");
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string token;
    for (const unsigned char each : bytes) {
        token += {digits[each >> 4], digits[each & 0xFU]};
    }
    return token;
}

} // namespace shopfloor
