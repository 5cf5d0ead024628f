#pragma once

#include "sim/description/console.h"

#include <string>

namespace sim {

/** A login as a switch has it: name and password by the keys of a terminal. */
class login {
public:
    explicit login(const console_description &console);

    /** What it shows when it begins. */
    std::string greeting() const;

    /** Takes a key: what the console shows for it. Keys are lost while a refusal is due. */
    std::string type(char key);

    /** A wrong password was given, and nobody was told yet. */
    bool owes_refusal() const { return state_ == states::refusing; }
    /** Tells it, and asks for the next name. */
    std::string refuse();

    bool is_done() const { return state_ == states::done; }

private:
    enum class states { name, password, refusing, done };

    std::string enter();
    std::string enter_name();
    std::string edit(char key);

    std::string issue_;
    std::string prompt_;
    std::string user_;
    std::string password_;
    std::string motd_;
    bool echo_;
    states state_ = states::name;
    std::string name_;
    std::string typed_;
};

} // namespace sim
