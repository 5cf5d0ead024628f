#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "floor/model/control.h"

namespace shopfloor {

enum class slot_state {
    unplugged, // there is no adapter at its place
    idle,
    preparing, // a label was given; the ledger is being asked
    running,
    ended
};

/** A step of a run, as it is shown. */
struct step_view {
    std::string operation = {};
    std::string state = "waiting"; // "running", "done", "unseen", "skipped", "failed"
    std::size_t sent = 0;          // bytes
    std::size_t of = 0;
    std::string reason = {};
};

/** A run in a slot, as it is shown. */
struct run_view {
    using clock = std::chrono::steady_clock;

    std::optional<std::int64_t> attempt = {}; // of the ledger; none where nothing is written
    std::string label = {};
    std::string product = {};
    std::optional<std::string> serial = {};
    std::optional<std::string> mac = {};
    std::int64_t mac_count = 0;
    std::string operator_badge = {};
    bool only_check = false;
    std::string started = {}; // times as the ledger writes them
    std::optional<std::string> ended = {};
    std::string phase = {};
    std::vector<step_view> steps = {};
    std::optional<std::string> label_back = {}; // "waiting", "matches", "differs"
    std::optional<std::string> label_code = {}; // of its printed label, while it is awaited
    std::optional<std::string> outcome = {};
    std::string reason = {};
    std::string advice = {};
    int retries = 0;
    clock::time_point begun = clock::now();
    std::optional<double> seconds = {}; // none: it goes on
};

/** How the runs in a slot went since the start of the floor. */
struct slot_health {
    int runs = 0;
    int verified = 0;
    int retries = 0;
    int damaged = 0;    // exchanges whose bytes did not arrive intact
    double seconds = 0; // of all verified runs
};

/** A slot, as it is shown. */
struct slot_view {
    int number = 0;
    std::string place = {};
    std::vector<std::string> products = {};
    slot_state state = slot_state::idle;
    std::string trouble = {};
    std::optional<run_view> run = {};
    std::optional<std::string> fault = {}; // of a drill, that the next run meets
    slot_health health = {};

    bool busy() const { return state == slot_state::preparing || state == slot_state::running; }
};

/** As docs/floor-api.md describes a slot. */
json json_of(const slot_view &slot);

} // namespace shopfloor
