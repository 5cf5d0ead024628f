#pragma once

#include <stdexcept>
#include <string>

namespace ledger {

/** What the one who asked can do about an error. */
enum class trouble {
    refused,  // ask for something else: the ledger is well and unchanged
    unusable, // the database cannot be used: unreachable, full, read-only, damaged, no ledger
    in_doubt, // whether it was done is not known: look it up
    behind,   // the ledger is older than its witness, or is another one
};

/** Why something was not done, in a sentence for people that ends without a full stop. */
class error : public std::runtime_error {
public:
    error(trouble kind, const std::string &why) : std::runtime_error(why), kind_(kind) {}
    trouble kind() const { return kind_; }

private:
    trouble kind_;
};

[[noreturn]] inline void refuse(const std::string &why)
{
    throw error(trouble::refused, why);
}

} // namespace ledger
