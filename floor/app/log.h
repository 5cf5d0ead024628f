#pragma once

#include <string>

namespace shopfloor {

/** How much a line matters, as the system's journal counts it. */
enum class priority { error = 3, warning = 4, notice = 5, info = 6 };

/** Lines for whoever runs the program, on standard error. From any thread. */
class log {
public:
    /** for_journal: each line begins with its priority, as in "<6>". */
    explicit log(bool for_journal) : for_journal_(for_journal) {}

    /** Control characters of the text are shown as "\xNN". */
    void tell(priority how, const std::string &text) const;

private:
    bool for_journal_;
};

} // namespace shopfloor
