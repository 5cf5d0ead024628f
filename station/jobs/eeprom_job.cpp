#include "station/jobs/eeprom_job.h"

#include <algorithm>
#include <map>
#include <optional>

#include "station/jobs/eeprom_values.h"
#include "station/jobs/entry_reader.h"

namespace station {

namespace {

constexpr std::uint8_t part_skipped = 0;
constexpr std::int64_t largest_flag = 255;
constexpr unsigned largest_device_version = 255;

/** The switch wants a date with one character behind it. */
constexpr std::size_t date_size = 20;

std::string all_names()
{
    std::string out;
    for (const auto &each : eeprom_values()) {
        out.append(out.empty() ? "" : ", ").append(each.name);
    }
    return out;
}

/** Whether a text holds what the switch's console would show as something else than text. */
bool has_control_characters(const bytes &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](std::uint8_t byte) { return byte < 0x20 || byte == 0x7F; });
}

/** A value for a message that says what is expected in its place. */
std::string told(const eeprom_value &known, const bytes &value)
{
    if (!known.binary) {
        return "\"" + printable(value) + "\"";
    }
    return size_of(value) + (value.empty() ? "" : ", " + to_hex(value));
}

/** The value as it goes over the line. */
bytes sent_form(const eeprom_value &known, bytes value)
{
    if (known.binary) {
        return value;
    }
    if (known.code == record_code::setmac_time) {
        value.resize(date_size, ' ');
    }
    value.push_back(0);
    return value;
}

/** Reads a job's nodes and follows what the switch makes of them. Every mistake is told. */
class eeprom_job_reader {
public:
    explicit eeprom_job_reader(mistakes &wrong) : wrong_(wrong) {}

    eeprom_part read_part(const job_table &table)
    {
        table.allow_only({"flag", "node"}, wrong_);
        const auto flag = read_flag(table);
        return {flag, read_nodes(table, flag != part_skipped)};
    }

    std::vector<eeprom_node> read_nodes(const job_table &table, bool applied)
    {
        std::vector<eeprom_node> nodes;
        for (const auto &each : table.tables("node", wrong_)) {
            nodes.push_back(read_node(each, applied));
        }
        return nodes;
    }

    /** What the switch holds in the end. */
    const eeprom_image &finish()
    {
        if (dropped_version_ && lines_.find("Device Version") == lines_.end()) {
            dropped_version_->complain_of_value(
                "the switch makes a device version above 255 of it and leaves that out: expected "
                "at most 255, or a \"Device Version\" behind it");
        }
        return image_;
    }

private:
    std::uint8_t read_flag(const job_table &table)
    {
        constexpr auto expected = "0 (the switch skips the part) to 255";
        if (!table.has("flag")) {
            return eeprom_part().flag;
        }
        const auto flag = table.number("flag", expected, wrong_);
        if (flag && (*flag < 0 || *flag > largest_flag)) {
            wrong_.add(table.line_of("flag"),
                       "flag " + std::to_string(*flag) + ": expected " + expected);
        }
        return static_cast<std::uint8_t>(flag.value_or(0));
    }

    eeprom_node read_node(const job_table &table, bool applied)
    {
        table.allow_only({"name", "text", "hex"}, wrong_);
        entry_reader entry(table, "node", wrong_);
        const auto name = entry.read_name("Serial Number");
        const auto value = entry.read_value();
        const auto *known = name ? find(*name, entry) : nullptr;
        if (known == nullptr || !value) {
            return {};
        }
        if (applied) {
            note_line(*known, table.line_of("name"), entry);
        }
        const auto kept = check(*known, *value, entry);
        if (kept && applied) {
            apply(*known, *kept, entry);
        }
        return {*name, known->binary ? node_type::binary : node_type::text,
                sent_form(*known, *value)};
    }

    static const eeprom_value *find(const std::string &name, entry_reader &entry)
    {
        const auto values = eeprom_values();
        const auto found = std::find_if(values.begin(), values.end(),
                                        [&](const auto &each) { return each.name == name; });
        if (found != values.end()) {
            return &*found;
        }
        entry.complain("name", (name.empty() ? "the name is empty" : "the switch skips this name") +
                                   (": expected one of " + all_names()));
        return nullptr;
    }

    void note_line(const eeprom_value &known, int line, entry_reader &entry)
    {
        const auto [earlier, added] = lines_.emplace(known.name, line);
        if (!added) {
            entry.complain("name", "the job has it on line " + std::to_string(earlier->second) +
                                       " already");
        }
    }

    static std::optional<bytes> check(const eeprom_value &known, const bytes &value,
                                      entry_reader &entry)
    {
        const auto expected = ": expected " + std::string(known.expected);
        if (known.where == destination::computed) {
            entry.complain("name", "given" + expected);
            return std::nullopt;
        }
        if (known.binary == entry.has_text()) {
            entry.complain_of_value((known.binary ? "a text" : "a value in hexadecimal") +
                                    expected);
            return std::nullopt;
        }
        if (!known.binary && has_control_characters(value)) {
            entry.complain_of_value("a control character in the text: the switch's console would "
                                    "show it in the midst of the exchange");
            return std::nullopt;
        }
        auto kept = known.kept(value);
        if (!kept) {
            entry.complain_of_value(told(known, value) + expected);
        }
        return kept;
    }

    void apply(const eeprom_value &known, const bytes &kept, entry_reader &entry)
    {
        switch (known.where) {
        case destination::record:
            apply_record(known, kept, entry);
            break;
        case destination::extension:
            apply_extension(known, kept, entry);
            break;
        case destination::write_enable:
        case destination::computed:
            break;
        }
    }

    void apply_record(const eeprom_value &known, const bytes &kept, entry_reader &entry)
    {
        if (known.code == record_code::product_model) {
            keep_derived("Platform Name", entry);
            tell(image_.put(record_code::platform_name, derived_platform_name(kept)),
                 "the platform name that the switch makes of it", entry);
        }
        if (known.code == record_code::vendor_extension &&
            image_.find(record_code::vendor_extension) != nullptr) {
            entry.complain("name", "it replaces the values of the vendor extension ahead of it: "
                                   "expected before them");
        }
        tell(image_.put(known.code, kept), "it", entry);
    }

    void apply_extension(const eeprom_value &known, const bytes &kept, entry_reader &entry)
    {
        if (known.code == extension_code::hardware_version) {
            derive_versions(kept, entry);
        }
        tell(image_.extend(known.code, kept), "the vendor extension with it", entry);
    }

    void derive_versions(const bytes &hardware_version, entry_reader &entry)
    {
        keep_derived("Device Version", entry);
        keep_derived("Label Revision", entry);
        image_.erase(record_code::device_version);
        image_.erase(record_code::label_revision);
        const auto number = derived_device_version(hardware_version);
        if (number > largest_device_version) {
            dropped_version_.emplace(entry);
        } else {
            tell(image_.put(record_code::device_version, {static_cast<std::uint8_t>(number)}),
                 "the device version that the switch makes of it", entry);
        }
        tell(image_.put(record_code::label_revision, derived_label_revision(hardware_version)),
             "the label revision that the switch makes of it", entry);
    }

    /** A derived record replaces one that the job gives, unless that comes later. */
    void keep_derived(const char *derived, entry_reader &entry)
    {
        const auto earlier = lines_.find(derived);
        if (earlier != lines_.end()) {
            entry.complain("name", "the switch makes \"" + std::string(derived) +
                                       "\" of it, in place of that of line " +
                                       std::to_string(earlier->second) +
                                       ": expected it before that");
        }
    }

    static void tell(const std::optional<shortage> &dropped, const std::string &what,
                     entry_reader &entry)
    {
        if (dropped) {
            entry.complain("name", what + " takes " + std::to_string(dropped->needed) +
                                       " bytes: the EEPROM has " + std::to_string(dropped->left) +
                                       " left, and the switch would leave it out");
        }
    }

    mistakes &wrong_;
    eeprom_image image_;
    std::map<std::string_view, int> lines_;
    std::optional<entry_reader> dropped_version_; // the hardware version that gives none
};

} // namespace

std::string eeprom_node::shown() const
{
    if (type == node_type::binary) {
        return to_hex(value);
    }
    return printable(std::span(value).first(value.size() - 1));
}

bytes eeprom_payload(std::span<const eeprom_part> parts)
{
    bytes payload;
    for (const auto &part : parts) {
        bytes nodes;
        for (const auto &each : part.nodes) {
            put_node(nodes, each.name, each.type, each.value);
        }
        put_part(payload, part.flag, nodes);
    }
    return payload;
}

eeprom_job read_eeprom_job(const job_table &job, mistakes &wrong)
{
    eeprom_job found;
    eeprom_job_reader reader(wrong);
    job.allow_only({"node", "part"}, wrong);
    const auto *key = job.has("part") ? "part" : "node";
    if (job.has("part") && job.has("node")) {
        wrong.add(job.line_of("node"), "both [[node]] and [[part]]: expected either, where there "
                                       "are parts the nodes are [[part.node]]");
    }
    if (job.has("part")) {
        for (const auto &table : job.tables("part", wrong)) {
            found.parts.push_back(reader.read_part(table));
        }
    } else {
        found.parts.push_back({eeprom_part().flag, reader.read_nodes(job, true)});
    }
    if (const auto excess = excess_of(eeprom_payload(found.parts))) {
        wrong.add(job.line_of(key), "the nodes make " + *excess);
    }
    found.image = reader.finish();
    return found;
}

} // namespace station
