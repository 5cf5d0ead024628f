#include "e2e/support/bytes.h"
#include "sweep_boards.h"
#include "sweep_words.h"

// The commands on the system EEPROM, which is behind its write protection, with each of their
// operations on the hardware failing.

namespace {

using namespace e2e;

/** What the PC sees of the image before it is programmed. */
const std::string payload_rows =
    std::string(default_rows.substr(0, default_rows.find("CRC-32"))) +
    "Serial Number        0x23  13 NEWSERIAL0002\n"
    "Vendor Extension     0xFD   8  0x00 0x00 0x7E 0xD9 0x4A 0x02 0x00 0x0E\n"
    "CRC-32               0xFE   4 0x155D1E8E\n";

// What the program says besides.

constexpr std::string_view no_header = "read_eeprom: can't find productinfo.\r\n";

/** What a command is to make of the EEPROM. */
struct eeprom_command {
    std::string name;
    std::string operation;
    std::string new_image;
    std::function<pc_reaction()> new_pc;
    std::string typed_ahead = {};
};

const eeprom_command commands[] = {
    {.name = "tlv_setmac",
     .operation = "setmac",
     .new_image = payload_image,
     .new_pc = setmac_pc(payload_frame)},
    {.name = "tlv_setsn",
     .operation = "setsn",
     .new_image = other_serial_image,
     .new_pc = setsn_pc(),
     .typed_ahead = "{"},
};

/** The words of a start, taken off the front; whether the EEPROM was taken for damaged. */
bool take_start(std::string_view &said, bool flash_is_damaged)
{
    if (flash_is_damaged) {
        take(said, crc_warning);
    }
    const bool headless = take(said, no_header);
    return take(said, crc_warning) || headless;
}

/** Whether this is the last word of a start that cannot read the EEPROM, on a pipe or a terminal.
 */
bool is_unread(std::string_view rest, int status)
{
    constexpr std::string_view unread = "Setmac e2prom read faile";
    return status == 1 && take(rest, unread) && (rest == "\n" || rest == "\r\n");
}

/** Attempts that fail, before or after the rows, and one that ends the command. */
told told_by_setmac(std::string_view rest)
{
    const std::string begun = accepted_sign + version_1;
    int failures = 0;
    while (take(rest, begun + bytes({0x07}) + payload_rows + bytes({0x12})) ||
           take(rest, begun + failed)) {
        ++failures;
    }
    if (failures == 3) {
        return rest == begun + bad_value ? told::failure : told::nonsense;
    }
    return rest == begun + bytes({0x07}) + payload_rows + bytes({0x06}) ? told::success
                                                                        : told::nonsense;
}

told told_by_setsn(std::string_view rest)
{
    if (!take(rest, "}" + accepted_serial_sign + version_1)) {
        return told::nonsense;
    }
    return rest == failed                                                        ? told::failure
           : rest == bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}) ? told::success
                                                                                 : told::nonsense;
}

told told_by(const eeprom_command &what, std::string_view rest)
{
    if (!what.typed_ahead.empty()) {
        return told_by_setsn(rest);
    }
    return take(rest, setmac_banner) ? told_by_setmac(rest) : told::nonsense;
}

/** Flash holds no mark, as before, or one that says whether the identity is whole. */
bool flash_is_sound(const trial &done)
{
    const std::string marked_incomplete = product_image(0x97B22CCA, {"ProductInfo=0A0A0A0A"});
    const std::string &content = done.memories.at(std::string(product_info_file));
    return content == nor_content(no_product_records) || content == nor_content(marked_complete) ||
           content == nor_content(marked_incomplete);
}

/** What the next start finds. */
std::string found_by(const eeprom_layout &layout, const std::string &new_image, const trial &done)
{
    const std::string &content = done.memories.at(std::string(system_eeprom_file));
    std::string_view start = done.next_start.output;
    const bool flash_is_damaged = !flash_is_sound(done);
    const bool is_damaged = take_start(start, flash_is_damaged);
    if (flash_is_damaged && !done.struck_on("/dev/mtd1")) {
        return "wrong in flash";
    }
    // What is behind an image does not matter: it counts and covers its own bytes.
    return content.starts_with(new_image)    ? "new"
           : content.starts_with(layout.old) ? "old"
           : is_damaged                      ? "damaged"
                                             : "wrong: " + readable(content);
}

/**
 * Whether a success that is none is one of those that the design has: that the write protection is
 * lifted is not looked at, nor how many of the two messages of a transfer were sent.
 */
bool is_known_success(const trial &done)
{
    const bool half_sent = done.first_struck().starts_with("transfer ") &&
                           done.first_struck().find(" = -1") == std::string_view::npos;
    return half_sent || done.struck_on("/dev/cpld0") || done.struck_on("libdev_drv");
}

verdict judge(const eeprom_layout &layout, const eeprom_command &what, const trial &done)
{
    std::string said = uncooked(done.end.output);
    // The identity is not in the list that memory may lack for.
    take_out(said, out_of_memory);
    const std::string found = found_by(layout, what.new_image, done);
    std::string_view rest = said;
    take_start(rest, done.struck_on("/dev/mtd1"));
    if (is_load_failure(done.end) || is_unread(rest, done.end.status)) {
        return {found + ", not started", found == "old"};
    }
    const told result = done.end.status == 0 ? told_by(what, rest) : told::nonsense;
    if (result == told::nonsense || found.starts_with("wrong")) {
        return {found + ", not as documented", false};
    }
    if (result == told::failure) {
        return {found + ", told a failure"};
    }
    return found == "new" ? verdict{found}
                          : verdict{found + ", told a success", is_known_success(done)};
}

/** "setmac-tlv" only reads: it tells what is there, or that it cannot. */
verdict judge_listing(const trial &done)
{
    constexpr std::string_view mark = "ProductInfo=0B0EFACE\r\n";
    constexpr std::string_view values = "SerialNO=OLDSERIAL0001\nserial0=A1\n";
    const bool unharmed =
        done.memories.at(std::string(system_eeprom_file)) == eeprom_layouts[1].content &&
        done.memories.at(std::string(product_info_file)) == nor_content(no_product_records);
    std::string said = done.end.output;
    const bool lacked_memory = take_out(said, out_of_memory);
    std::string_view rest = said;
    const bool took_for_damaged = take_start(rest, done.struck_on("/dev/mtd1"));
    if (is_load_failure(done.end) || is_unread(rest, done.end.status)) {
        return {"not started", unharmed};
    }
    if (!take(rest, mark) && !lacked_memory) {
        return {"not as documented", false};
    }
    if (took_for_damaged) {
        return {"took it for damaged", unharmed && rest.empty() && done.end.status == 1};
    }
    return {"new", unharmed && rest == values && done.end.status == 0};
}

sweep_case case_of(const eeprom_layout &layout, const eeprom_command &what)
{
    return {.name = what.name + "_on_" + layout.name,
            .board = eeprom_board,
            .memories = {{std::string(product_info_file), nor_content(no_product_records)},
                         {std::string(system_eeprom_file), layout.content}},
            .command = {tlv_prov_setmac, what.operation, "/dev/null"},
            .new_pc = what.new_pc,
            .typed_ahead = what.typed_ahead,
            .looker = {"setmac-tlv"},
            .judge = [=](const trial &done) { return judge(layout, what, done); },
            .in_steps = true};
}

std::vector<sweep_case> all_cases()
{
    // A blank EEPROM has no serial number to replace.
    std::vector<sweep_case> all = {
        case_of(eeprom_layouts[0], commands[0]), case_of(eeprom_layouts[1], commands[0]),
        case_of(eeprom_layouts[1], commands[1]), case_of(eeprom_layouts[1], commands[1])};
    all[3].name = "tlv_listing_of_named";
    all[3].command = {"setmac-tlv"};
    all[3].new_pc = {};
    all[3].typed_ahead.clear();
    all[3].judge = judge_listing;
    return all;
}

SWEEP_TESTS(eeproms, all_cases());

} // namespace
