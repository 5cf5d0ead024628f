#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace station {

/**
 * Lines as a console wraps them that has so many columns, put together: one that fills them goes on
 * in the next.
 */
std::vector<std::string> unwrapped(const std::vector<std::string_view> &lines, std::size_t columns);

/** What a command on the switch printed, line by line. */
struct listing {
    std::vector<std::string> lines;

    /**
     * From a readable text. Lines that may be wrapped stand there as they came and, behind those,
     * put together.
     */
    static listing of(std::string_view text, std::size_t columns);

    bool has(std::string_view line) const;

    /** What stands behind "name=". */
    std::optional<std::string> value(std::string_view name) const;

    bool operator==(const listing &) const = default;
};

/**
 * Several readings of the same, over a line that may change them: what two of them agree on counts.
 */
class readings {
public:
    void add(listing read) { all_.push_back(std::move(read)); }

    std::size_t count() const { return all_.size(); }

    /** The first reading that is repeated as a whole, or null. */
    const listing *agreed() const;

    /** Whether at least two readings have the line. */
    bool agree_on(std::string_view line) const;

private:
    std::vector<listing> all_;
};

} // namespace station
