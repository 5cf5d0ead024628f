#pragma once

#include <span>
#include <string>
#include <vector>

#include "station/jobs/eeprom_image.h"
#include "station/jobs/job_file.h"
#include "station/jobs/payload.h"

namespace station {

/** A named value for the system EEPROM, as it goes over the line. */
struct eeprom_node {
    std::string name;
    node_type type = node_type::text;
    bytes value; // a text ends with its NUL

    /** The value for people. */
    std::string shown() const;
};

struct eeprom_part {
    std::uint8_t flag = 1; // 0: the switch skips the part
    std::vector<eeprom_node> nodes;
};

/** A job for the system EEPROM, and what the switch makes of it. */
struct eeprom_job {
    std::vector<eeprom_part> parts;
    eeprom_image image;
};

/** The payload that carries the parts in their order. */
bytes eeprom_payload(std::span<const eeprom_part> parts);

/**
 * Reads a job. A value that the switch would refuse, drop or replace is a mistake, since the switch
 * says little more of that than that it failed, or nothing.
 */
eeprom_job read_eeprom_job(const job_table &job, mistakes &wrong);

} // namespace station
