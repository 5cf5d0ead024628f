#include "e2e/support/bytes.h"
#include "sweep_boards.h"
#include "sweep_words.h"

// Every command on the records in flash, on every kind of flash that holds them, with each of its
// operations on the hardware failing.

namespace {

using namespace e2e;

constexpr std::string_view saved = "Save product info success.\r\n";
constexpr std::string_view not_saved = "Save product info failed.\r\n";

/** What the program says of the empty word that comes of a lack of memory. */
constexpr std::string_view complaints[] = {
    "Error: Invalid serial number: \r\n",
    "Warning: invliad product info: .\r\n",
};

/** What a command is to do, whoever tells it. */
struct record_command {
    std::string name;
    command_line command;
    std::string new_listing;   // on the old records
    std::string fresh_listing; // on none, which is what a start with damaged ones leaves
    std::string input = {};
    std::string prompts = {}; // what it says before its last word
    std::function<pc_reaction()> new_pc = {};
    std::string typed_ahead = {};
};

const record_command commands[] = {
    {.name = "setsn",
     .command = {"setsn", "NEWSERIAL0002"},
     .new_listing = "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=NEWSERIAL0002\r\ncountry_def=CN\r\n",
     .fresh_listing = "SerialNO=NEWSERIAL0002\r\n"},
    {.name = "setsn_prompted",
     .command = {"setsn"},
     .new_listing = "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=NEWSERIAL0002\r\ncountry_def=CN\r\n",
     .fresh_listing = "SerialNO=NEWSERIAL0002\r\n",
     .input = "NEWSERIAL0002\n",
     .prompts = "Please input serial number:"},
    {.name = "setmac",
     .command = {"setmac", "00d0f8000002"},
     .new_listing = "ethaddr=00:d0:f8:00:00:02\r\nSerialNO=OLDSERIAL0001\r\ncountry_def=CN\r\n",
     .fresh_listing = "ethaddr=00:d0:f8:00:00:02\r\n"},
    {.name = "setcountry",
     .command = {"setcountry"},
     .new_listing = "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=OLDSERIAL0001\r\ncountry_def=EU\r\n"
                    "country_map=M0\r\ncountry_map1=M1\r\ncountry_change=yes\r\n",
     .fresh_listing = "country_def=EU\r\ncountry_map=M0\r\ncountry_map1=M1\r\n"
                      "country_change=yes\r\n",
     .input = "EU\nM0\nM1\nyes\n",
     .prompts = "Please input country def:Please input country map:Please input country map1:"
                "Please input country change:"},
    {.name = "setproduct",
     .command = {"setproduct"},
     .new_listing = "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=OLDSERIAL0001\r\nColour=blue\r\n",
     .fresh_listing = "Colour=blue\r\n",
     .input = "Colour=blue\ncountry_def=\nq\n",
     .prompts = "Please input the name and value of setmac field.\r\n"
                "Format: name=value, Press 'q' to save and quit.\r\n\r\n"},
    {.name = "fw_setmac",
     .command = {"fw_setmac", "Model", "X1"},
     .new_listing = old_records_listing + "Model=X1\r\n",
     .fresh_listing = "Model=X1\r\n"},
    {.name = "prov_setmac_setmac",
     .command = {"prov_setmac", "setmac", "/dev/null"},
     .new_listing = "ethaddr=00:1A:2B:3C:4D:5E\r\nSerialNO=OLDSERIAL0001\r\ncountry_def=CN\r\n"
                    "ProductInfo=0B0EFACE\r\n",
     .fresh_listing = "ProductInfo=0B0EFACE\r\nethaddr=00:1A:2B:3C:4D:5E\r\n",
     .new_pc = setmac_pc(mac_frame)},
    {.name = "prov_setmac_setsn",
     .command = {"prov_setmac", "setsn", "/dev/null"},
     .new_listing = "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=ABCDEFGHJ1234\r\ncountry_def=CN\r\n",
     .fresh_listing = "SerialNO=ABCDEFGHJ1234\r\n",
     .new_pc = setsn_pc(),
     .typed_ahead = "{"},
};

/** The last word of a run after which the entry saves. */
told told_by_entry(std::string_view rest, int status)
{
    if (rest == saved) {
        return status == 0 ? told::success : told::nonsense;
    }
    return rest == not_saved && status == 1 ? told::failure : told::nonsense;
}

/** "prov_setmac setmac": attempts that fail, and one that ends the command. */
told told_by_setmac(std::string_view rest, int status)
{
    const std::string begun = accepted_sign + version_1;
    int failures = 0;
    while (take(rest, begun + failed)) {
        ++failures;
    }
    const bool given_up = failures == 3;
    if (failures > 3 || !take(rest, begun + (given_up ? bad_value : applied))) {
        return told::nonsense;
    }
    const told by_entry = told_by_entry(rest, status);
    return given_up && by_entry == told::success ? told::failure : by_entry;
}

told told_by_setsn(std::string_view rest, int status)
{
    if (!take(rest, "}" + accepted_serial_sign + version_1)) {
        return told::nonsense;
    }
    if (rest == failed) {
        return status == 0 ? told::failure : told::nonsense;
    }
    return take(rest, bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}))
               ? told_by_entry(rest, status)
               : told::nonsense;
}

told told_by(const record_command &what, std::string_view said, int status)
{
    if (!what.new_pc) {
        return take(said, what.prompts) ? told_by_entry(said, status) : told::nonsense;
    }
    if (what.typed_ahead.empty()) {
        return take(said, setmac_banner) ? told_by_setmac(said, status) : told::nonsense;
    }
    return told_by_setsn(said, status);
}

/** What the next start finds. */
std::string found_by(const record_command &what, const trial &done)
{
    const std::string &found = done.next_start.output;
    return found == what.new_listing      ? "new"
           : found == old_records_listing ? "old"
           : found == crc_warning         ? "damaged"
           : found == what.fresh_listing  ? "new alone"
                                          : "wrong: " + readable(found);
}

/** Whether a success that is none is one of those that the design has. */
bool is_known_success(const flash_layout &layout, const std::string &found, const trial &done)
{
    // With a mirror the result is the mirror's: the first copy may be what it was, or damaged.
    return !layout.mirror.empty() && done.struck_on("/dev/mtd1") &&
           (found == "old" || found == "damaged");
}

verdict judge(const flash_layout &layout, const record_command &what, const trial &done)
{
    std::string said = uncooked(done.end.output);
    const bool lacked_memory = take_out(said, out_of_memory);
    const bool complained = lacked_memory && take_out(said, complaints);
    const std::string found = found_by(what, done);
    if (is_load_failure(done.end)) {
        return {found + ", not started", found == "old"};
    }
    std::string_view rest = said;
    const bool warned = take(rest, crc_warning);
    const bool refused = complained && rest == what.prompts && done.end.status == 1;
    const told result = refused ? told::failure : told_by(what, rest, done.end.status);
    if (result == told::nonsense || found.starts_with("wrong") ||
        (lacked_memory && result != told::failure)) {
        return {found + ", not as documented", false};
    }
    if (found == "new alone") {
        // Where it cannot be told that a block is bad it is read: no image, so nothing to add to.
        return {found + ", told a warning",
                warned && done.first_struck().starts_with("getbadblock ")};
    }
    if (result == told::failure) {
        return {found + ", told a failure"};
    }
    if (found == "new") {
        return {found};
    }
    return {found + ", told a success", is_known_success(layout, found, done)};
}

sweep_case case_of(const flash_layout &layout, const record_command &what)
{
    return {.name = what.name + "_on_" + layout.name,
            .board = layout.description,
            .memories = layout.memories,
            .command = what.command,
            .input = what.input,
            .new_pc = what.new_pc,
            .typed_ahead = what.typed_ahead,
            .looker = {"prodinfo"},
            .judge = [=](const trial &done) { return judge(layout, what, done); }};
}

/** "prodinfo" only reads: it tells what is there, or that it cannot. */
verdict judge_listing(const trial &done)
{
    const bool unharmed = done.next_start == outcome{.output = old_records_listing};
    std::string said = done.end.output;
    if (said == old_records_listing && done.end.status == 0) {
        return {"new", unharmed};
    }
    if (take_out(said, out_of_memory)) {
        const bool is_part = old_records_listing.find(said.substr(0, said.find('\r'))) != said.npos;
        return {"listed in part", unharmed && is_part};
    }
    if (said == crc_warning && done.end.status == 0) {
        return {"took them for damaged", unharmed};
    }
    return {"not started", unharmed && is_load_failure(done.end)};
}

std::vector<sweep_case> all_cases()
{
    std::vector<sweep_case> all;
    for (const flash_layout &layout : flash_layouts) {
        for (const record_command &what : commands) {
            all.push_back(case_of(layout, what));
        }
        all.push_back({.name = "prodinfo_on_" + layout.name,
                       .board = layout.description,
                       .memories = layout.memories,
                       .command = {"prodinfo"},
                       .looker = {"prodinfo"},
                       .judge = judge_listing});
    }
    return all;
}

SWEEP_TESTS(records, all_cases());

} // namespace
