#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace shopfloor {

/** Why a text was not printed, in words; the same may work later. */
class print_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Something that prints labels. */
class printer {
public:
    virtual ~printer() = default;
    /** Returns once the printer has taken the text, within a minute. Throws print_error. */
    virtual void print(const std::string &text) = 0;
};

/** A printer that takes what it is sent over a TCP connection, as on port 9100. */
std::unique_ptr<printer> network_printer(std::string host, std::string port);

/**
 * A command of the shell that takes the text on its standard input, and ends with 0. Of what this
 * process has open it gets the outputs only.
 */
std::unique_ptr<printer> command_printer(std::string command);

} // namespace shopfloor
