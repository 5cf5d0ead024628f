#pragma once

#include "sim/base/operation.h"
#include "sim/description/units.h"
#include "sim/parts/i2c_bus.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace sim {

/** What the bridge's status register says. */
enum class bridge_status : uint8_t { done = 0, failed = 1, busy = 2 };

/** One command of the bridge. */
struct bridge_command {
    bool writes = false; // else it reads
    bridge_place place = {};
    uint8_t offset = 0;
    std::vector<uint8_t> data = {}; // to write, or as many bytes as are to be read
};

/**
 * The I2C master of the FPGA and the chips behind it. A command is carried out when it begins; what
 * it came to, and the bytes that it read, are to be had when it is no longer busy. A command that
 * begins while another is busy takes its place.
 */
class i2c_bridge {
public:
    /** log: takes an operation "bridge" for each command. */
    explicit i2c_bridge(std::function<void(operation)> log) : log_(std::move(log)) {}

    void fit(const bridge_place &place, std::unique_ptr<i2c_chip> chip);
    void add(const bridge_trouble &what) { troubles_.push_back({what, 0}); }

    void begin(bridge_command what);
    /** A command that cannot be: it fails, and no chip notices. */
    void refuse();
    /** The status, for one read of its register. */
    bridge_status poll();
    /** The bytes of a read command that is done, once; else none. */
    std::vector<uint8_t> take_data();

private:
    struct entry {
        bridge_trouble what;
        unsigned seen;
    };

    /** Counts a command to a place: the trouble that it meets, or null. */
    const bridge_trouble *meet(const bridge_place &place);
    /** The transfers of a command on the bus: how they went, in the words of the log. */
    const char *carry_out(bridge_command &what);
    void log(const bridge_command &what, const char *outcome);

    std::function<void(operation)> log_;
    std::map<bridge_place, std::unique_ptr<i2c_chip>> chips_;
    std::vector<entry> troubles_;
    bridge_status status_ = bridge_status::done; // once it is not busy
    bool sticks_ = false;
    unsigned busy_polls_ = 0;
    std::vector<uint8_t> data_; // read, to be taken
};

} // namespace sim
