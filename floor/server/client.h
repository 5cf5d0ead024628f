#pragma once

#include <cstdint>
#include <string>

#include "floor/model/control.h"

namespace shopfloor {

/**
 * Asks a floor that runs on this machine. Each function waits for the answer, a refusal included,
 * and throws std::runtime_error where nobody answers, or not as a floor does.
 */
class client {
public:
    client(std::string address, std::uint16_t port);

    answer state() const;
    answer start(const start_request &wanted) const;
    answer cancel(int slot) const;

private:
    answer ask(const std::string &path) const;
    answer change(const std::string &path, const json &content) const;

    std::string address_;
    std::uint16_t port_;
};

} // namespace shopfloor
