#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "floor/model/event_log.h"

namespace shopfloor {

/** Objects keep the order in which their keys were put in. */
using json = nlohmann::ordered_json;

/** Why something is not done. */
struct refusal {
    std::string code = {};   // for programs: "slot_busy"; docs/floor-api.md has them all
    std::string reason = {}; // for people, without a full stop
    std::string advice = {}; // what to do
};

/** What came of a request: its content, or why there is none. */
struct answer {
    json content = {};
    std::optional<refusal> refused = {};
};

/** Is called once for each request, on a thread of the floor, and must not wait for anything. */
using reply = std::function<void(answer)>;

/** A unit to be provisioned. */
struct start_request {
    int slot = 0;
    std::string label = {};
    std::string product = {};        // empty: the slot's
    std::string serial = {};         // where the product's is scanned; empty: the label is it
    std::string mac = {};            // the same
    std::string operator_badge = {}; // empty: the floor's present operator
    bool again = false;              // although the unit is verified already
    bool take_over = false;          // although another station has not told how its attempt ended
    bool replace = false;            // although the switch holds another unit's identity
    bool only_check = false;         // compare with the ledger, write nothing
};

/** Which rows of a list are wanted; what is empty does not narrow it. */
struct list_request {
    std::string label = {};
    std::string product = {};
    std::string state = {};   // of units
    std::string outcome = {}; // of attempts
    std::string slot = {};    // of attempts
    std::string operator_badge = {};
    std::string since = {}; // "2026-11-21" or longer
    std::string until = {};
    std::int64_t after = 0; // the id of the last row that was had; the first list begins at 0
    std::size_t limit = 100;
};

/**
 * The floor as its interface sees it: many slots, one ledger. All functions may be called from any
 * thread and return at once.
 */
class control {
public:
    virtual ~control() = default;

    /** The whole state; "event" in it is the number of the last event that it holds. */
    virtual json state() const = 0;
    /** What happened since; lives as long as the floor. */
    virtual event_log &events() = 0;

    /** Answers with the slot once the reservation and the attempt's begin are durable. */
    virtual void start(const start_request &wanted, reply to) = 0;
    /** The run ends soon after, as cancelled. Answers with the slot. */
    virtual void cancel(int slot, reply to) = 0;
    virtual void change_operator(const std::string &badge, reply to) = 0;

    /** A unit by its label, serial number or a MAC address, with all attempts and its history. */
    virtual void find_unit(const std::string &text, reply to) = 0;
    /** An attempt with what was sent, read back, and the console. */
    virtual void find_attempt(std::int64_t id, reply to) = 0;
    virtual void pools(reply to) = 0;
    /** {"rows": [...], "after": id or null}: null where there are no more. */
    virtual void units(const list_request &wanted, reply to) = 0;
    virtual void attempts(const list_request &wanted, reply to) = 0;

    // Of floors with a printer, and of drills. Others refuse.
    /** What was scanned from the printed label of a slot's unit. Answers with the slot. */
    virtual void confirm(int slot, const std::string &code, reply to);
    /** A unit's label once more. Answers with the print, once it is durable. */
    virtual void print(const std::string &label, const std::string &operator_badge, reply to);
    /** As units(); the last ones first. */
    virtual void prints(const list_request &wanted, reply to);
    /** What the next run in a slot meets; empty: nothing. Answers with the slot. */
    virtual void order_fault(int slot, const std::string &fault, reply to);
};

} // namespace shopfloor
