#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ledger/model/error.h"
#include "ledger/model/journal_entry.h"
#include "ledger/model/records.h"
#include "ledger/model/time.h"
#include "ledger/store/database.h"

namespace ledger {

class witness;
struct burned;
struct witnessed;

/** Which prints are wanted; what is empty does not narrow it. */
struct print_filter {
    std::string label = {};
    std::string state = {};
    std::string since = {}; // asked for from this time on, "2026-11-21" or longer
    std::string until = {}; // and before this one
};

/** Where a ledger is. */
struct ledger_place {
    std::string url = {};     // "sqlite:FILE" or "postgresql://..."
    std::string witness = {}; // where this machine has the witness; empty: where the ledger says
    std::function<time_point()> clock = std::chrono::system_clock::now;
    std::chrono::milliseconds silence = longest_silence; // of a server, before it is given up
};

/** What a label asks for. */
struct reservation {
    std::string label = {};
    std::string product = {};
    std::string serial = {}; // of a product whose serial number is scanned; empty: the label is it
    std::string mac = {};    // the same for its first MAC address
};

/** The identity of a label, and what else there is to know of it. */
struct reserved {
    unit identity = {};
    bool is_new = false;
    std::vector<std::string> warnings = {}; // of pools that come to their end
};

/** How much of a pool is used, and how long the rest lasts. */
struct pool_state {
    pool of = {};
    std::int64_t units = 0; // that it can give numbers to in all
    std::int64_t units_left = 0;
    std::int64_t voided = 0;  // units whose numbers are lost
    int used_percent = 0;     // of its units, rounded down
    double units_a_day = 0;   // of the last seven days, or since its first unit
    std::string warning = {}; // empty below 80 per cent
};

/** Units that find room from that number on, where no label has brought any of these numbers. */
std::int64_t room_from(const pool &of, std::int64_t next);

/** What to tell people of a pool with so many units left, from 80 per cent on; empty below. */
std::string warning_of(const pool &of, std::int64_t units_left);

/** The pools that a unit has numbers from, as it leaves them, and what to tell people of them. */
struct drawn {
    std::vector<pool> pools = {};
    std::vector<std::string> warnings = {};
};

enum class search { any, label, serial, mac };

/** Which units an export shows; what is empty does not narrow it. */
struct unit_filter {
    std::string product = {};
    std::string state = {};
    std::string since = {}; // reserved from this time on, "2026-11-21" or longer
    std::string until = {}; // and before this one
};

/** Which rows a list shows; what is empty does not narrow it. */
struct list_filter {
    std::string label = {};
    std::string product = {};
    std::string state = {};         // of units, as state_text() has it
    std::string outcome = {};       // of attempts: the state that it led to, or "open"
    std::string slot = {};          // of attempts
    std::string operator_name = {}; // of attempts
    std::string since = {};         // reserved, or started, from this time on
    std::string until = {};         // and before this one
};

/** A part of a list. */
template <class kind>
struct list_page {
    std::vector<kind> rows = {};
    std::int64_t reached = 0; // the id behind which the list goes on
    bool more = false;        // whether it may
};

/** An attempt, and what it was an attempt of. */
struct listed_attempt {
    attempt of = {};
    std::string label = {};
    std::string product = {};
};

/** A line of identities that were given out before there was a ledger. */
struct imported_line {
    std::int64_t line = 0; // in its file
    std::string label = {};
    std::string product = {};
    std::string serial = {};
    std::string mac = {};
    std::string mac_count = {};             // empty: that of the product
    std::string state = {};                 // empty: stored
    std::vector<std::string> mistakes = {}; // found while it was read
};

/** Something that does not fit; entry is 0 where no entry can be named. */
struct finding {
    std::int64_t entry = 0;
    std::string what = {};
};

struct check_result {
    std::vector<finding> findings = {}; // in the order in which they were found
    std::int64_t entries = 0;
    std::int64_t units = 0;
    bool has_witness = false;
};

/** How far a witness and its ledger are. */
struct witness_state {
    std::string path = {}; // empty: there is none
    std::int64_t witnessed = 0;
    std::int64_t entries = 0;
    std::string trouble = {};                // empty: they fit together
    std::vector<journal_entry> missing = {}; // entries of the witness that the ledger lacks
};

/** What init() found, or did. */
enum class init_result { made, brought_up_to_date, left_as_it_is };

/**
 * A ledger: identities that are handed out once. Each function is one transaction; when it returns,
 * what it did is durable, in the database and in the witness. All of them throw error. An object is
 * for one thread at a time.
 */
class book {
public:
    /** Makes a ledger, or brings the schema of one up to date. */
    static init_result init(const ledger_place &place);

    /** Opens a ledger; its schema must be the one of this program. */
    explicit book(ledger_place place);
    ~book();

    void add_pool(pool wanted);
    void close_pool(const std::string &name);
    std::vector<pool_state> pools();

    void add_product(product wanted);
    std::vector<product> products();

    /**
     * The identity of a label: the one that it has, or a new one, which is durable then and stays
     * the label's whatever happens. Without doubt: a connection that is lost at its commit is
     * answered by looking the label up.
     */
    reserved reserve(const reservation &wanted);

    std::optional<unit> find(const std::string &text, search by = search::any);
    std::vector<attempt> attempts_of(const unit &of);
    std::vector<journal_entry> history(const std::string &label);

    /**
     * Before an identity is written to a switch: the unit is "writing" from here on. An attempt of
     * the same station, slot and program whose end nobody told is in doubt by that. Returns the
     * attempt's number.
     */
    std::int64_t begin_attempt(const std::string &label, const attempt_start &start);
    /**
     * The switch has said that it has stored what was sent; the attempt goes on. Told once more, it
     * changes nothing.
     */
    void record_stored(std::int64_t attempt, const std::string &sent);
    /** How it ended, and what was seen. Empty texts leave what was recorded before. */
    void end_attempt(std::int64_t attempt, attempt_outcome outcome, const std::string &reason,
                     const attempt_evidence &evidence);

    /**
     * Asks for a label of a unit: it is durable then, and waits for its station's printer. Refused
     * for a void unit. once_since: an entry of the journal; a label of the unit that the station
     * has asked for behind that entry is the one that is wanted, and no other one is made.
     */
    label_print ask_print(const print_request &wanted,
                          std::optional<std::int64_t> once_since = std::nullopt);
    /** The one that has waited longest for the printer of that station. */
    std::optional<label_print> next_print(const std::string &station);
    std::int64_t waiting_prints(const std::string &station);
    /** Of what was sent to the printer, or why that was given up. */
    void end_print(std::int64_t print, bool printed, const std::string &reason);
    /** The last ones first, at most so many, below an id; 0: from the last one on. */
    std::vector<label_print> prints(const print_filter &filter, std::int64_t below,
                                    std::size_t limit);

    /** Ends an identity; its numbers are never used again. */
    unit void_unit(const std::string &label, const std::string &reason, const std::string &by);

    /** All or nothing: mistakes, one for each bad line, or nothing and all is there. */
    std::vector<std::string> import_units(const std::vector<imported_line> &lines);

    /** Hands on every unit that the filter lets through, in the order of their reservation. */
    void export_units(const unit_filter &filter, const std::function<void(const unit &)> &take);

    /**
     * Lists in the order of their ids, from behind one on, at most so many rows. Each looks at a
     * bounded part of the ledger: there may be more where there are fewer rows than wanted, or
     * none. Attempts come without their evidence.
     */
    list_page<unit> units_after(std::int64_t id, std::size_t limit, const list_filter &filter);
    list_page<listed_attempt> attempts_after(std::int64_t id, std::size_t limit,
                                             const list_filter &filter);

    /** An attempt with its evidence. */
    std::optional<listed_attempt> find_attempt(std::int64_t id);
    /** Those of a station whose end nobody has told. */
    std::vector<listed_attempt> open_attempts(const std::string &station);
    /** That of a label. */
    std::optional<listed_attempt> open_attempt(const std::string &label);
    /** The last one in a slot, whatever became of it. */
    std::optional<listed_attempt> last_attempt(const std::string &station, const std::string &slot);

    check_result check();

    /** Copies the ledger as it is at one moment to another place, where there is none yet. */
    void copy_to(const std::string &url);

    /**
     * Gives the ledger a witness, or another one. lost: the present one cannot be asked any more,
     * which reason and by answer for.
     */
    void set_witness(const std::string &path, bool lost, const std::string &reason,
                     const std::string &by);
    witness_state look_at_witness();

    /**
     * Lets a ledger that is behind its witness go on: the numbers of each entry that it lacks are
     * burned. Returns what was burned, in words; nothing where the ledger was not behind.
     */
    std::vector<std::string> reconcile(const std::string &reason, const std::string &by);

private:
    /** The end of the journal. */
    struct head {
        std::string ledger = {};
        std::int64_t number = 0;
        std::string hash = {};
        std::string witness = {};
    };

    // write.cpp: what every change goes through
    enum class gate { witness, none };
    void write(const std::function<void()> &work, gate by = gate::witness);
    bool try_write(const std::function<void()> &work, gate by);
    bool was_committed(const database_error &doubt, gate by);
    void read(const std::function<void()> &work);
    std::vector<unit> labelled_after(std::int64_t id, const list_filter &filter);
    std::vector<listed_attempt> listed(std::string_view statement, const values &given);
    head read_head(std::string_view statement);
    void finish(gate by);
    void check_against(const witnessed &last);
    void commit();
    std::vector<journal_entry> not_in(const witness &held);
    std::string witness_path(const head &of) const;
    std::int64_t next_entry() const { return head_.number + 1; }
    void add_entry(const std::string &topic, const std::string &subject, const std::string &kind,
                   const json &content);
    std::string now() const { return time_text(place_.clock()); }

    std::optional<row> named_by(std::string_view statement, const std::string &name);
    pool pool_named(const std::string &name);
    product product_named(const std::string &name);
    unit unit_labelled(const std::string &label);
    attempt attempt_with(std::int64_t id);
    std::vector<attempt> attempts_in(const unit &of);

    // reserve.cpp
    unit make_unit(const reservation &wanted, drawn &used);
    void issue_mac(unit &made, const std::string &from, drawn &used);
    void issue_serial(unit &made, const std::string &from, drawn &used);
    void take_scanned_mac(unit &made, const number_source &source, const std::string &scanned);
    void take_scanned_serial(unit &made, const number_source &source, const std::string &scanned);
    void insert_unit(unit &made, const std::string &kind, const std::vector<pool> &used);
    void check_free(const unit &wanted);
    std::optional<unit> overlapping(mac_address first, mac_address last);

    void enter_change(unit &changed, const std::string &kind, const json &with);
    void change_unit(unit &changed, const std::string &kind, attempt *with);
    void end_open_attempts(unit &of, const std::string &reason);
    std::optional<label_print> print_behind(std::int64_t entry, const unit &of,
                                            const std::string &station);
    void end_waiting_prints(unit &of, const std::string &reason);
    void enter_end(unit &of, label_print &ended, print_state state, const std::string &reason);
    void enter_product(product &added);
    std::int64_t units_left_in(const pool &of);
    pool_state state_of(const pool &of);
    unit unit_of_line(const imported_line &line);

    // reconcile.cpp
    void fill(witness &held);
    std::int64_t first_missing(const witness &held);
    void burn_pool(const journal_entry &lost, burned &all);
    void add_burned_pool(const journal_entry &lost, burned &all);
    void add_lost_product(const journal_entry &lost, burned &all);
    void burn_numbers(const std::string &of_pool, std::int64_t next);
    void burn_unit(const journal_entry &lost, burned &all);
    void drop_numbers_of_its_own(unit &burning);
    void drop_numbers_of_others(unit &burning, const journal_entry &lost, burned &all);
    void follow_lost(const journal_entry &lost, const std::string &by);
    std::int64_t last_reconciled(const witness &held);

    void check_journal(check_result &result);
    void check_rows(check_result &result);
    void check_pools(check_result &result);
    void check_witness(check_result &result, const witnessed &last);

    ledger_place place_;
    std::unique_ptr<database> database_;
    head start_;                       // of the transaction that runs, as it found it
    head head_;                        // and as it leaves it
    std::vector<journal_entry> added_; // by it
    bool committing_ = false;
    // Commits, and so syncs, even where nothing has changed: what was found may have been left by
    // one who ended between commit and sync.
    bool confirms_ = false;
};

} // namespace ledger
