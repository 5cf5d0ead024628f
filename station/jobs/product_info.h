#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "station/base/bytes.h"
#include "station/jobs/job_file.h"
#include "station/jobs/payload.h"

namespace station {

/**
 * A named property of a switch's identity. Type text is stored as it is, at most 128 bytes; type
 * binary is stored as hexadecimal digits, at most 64 bytes.
 */
struct property {
    std::string name;
    node_type type = node_type::text;
    bytes value;
};

/** What the switch keeps of a property. */
struct stored_property {
    std::string name;
    std::string value;
};

stored_property stored_form(const property &given);

/** The payload that carries the properties in their order. */
bytes product_info_payload(std::span<const property> properties);

/**
 * The properties of a job. A property that the switch would cut, drop or store under another name
 * than the job says is a mistake, since the switch itself would not complain.
 */
std::vector<property> read_properties(const job_table &job, mistakes &wrong);

/** The serial number of a job. */
bytes read_serial(const job_table &job, mistakes &wrong);

} // namespace station
