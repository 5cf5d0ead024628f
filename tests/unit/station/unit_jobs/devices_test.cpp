#include "station/unit_jobs/device_job.h"
#include "unit/station/exchanges/unit_runs.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

const std::string banner =
    "Disconnect your console terminal first\r\n"
    " Using your PC Setmac program to perform Set device info Operation ......";

const std::string one_fan = "[[device]]\nkind = \"fan\"\nindex = 2\ntype = 0x8001\n"
                            "serial = \"F1\"\nhardware = \"1.0\"\n";

/** Some bytes with zeros behind them. */
bytes filled(bytes data, std::size_t size)
{
    data.resize(size);
    return data;
}

/** An entry of 131 bytes. */
bytes entry(std::uint8_t kind, std::uint8_t index, std::uint8_t fan_type, const bytes &serial,
            const bytes &hardware, const bytes &name, const bytes &type)
{
    return joint({{kind, 0x81, index, 0x00, fan_type, 0x00, 0x00},
                  filled(serial, 24),
                  filled(hardware, 6),
                  filled(name, 32),
                  type,
                  bytes(58)});
}

// A list with one fan, whose bytes add up to 0x84 + 0x84 + 0x77 + 0x8F + 0x81 = 0x28F.
const bytes one_list =
    joint({{0x01, 0x00, 0x83, 0x00, 0x00, 0x00},
           entry(1, 2, 0, {'F', '1'}, {'1', '.', '0'}, {}, {0x00, 0x00, 0x80, 0x01})});
const bytes one_length{0x00, 0x00, 0x00, 0x89};
constexpr std::size_t flag_at = 9;
constexpr std::size_t serial_at = 13;
constexpr std::size_t hardware_at = 37;

class devices : public unit_runs {
protected:
    static unit_job job(const std::string &text = one_fan)
    {
        return read_as(read_device_job, text);
    }
    static std::string told(const std::string &text) { return told_by(read_device_job, text); }

    scripted_line &expect_list(std::uint8_t sum = 0x8F)
    {
        return far.expects(joint({{0x01}, one_length, one_list, {sum}}));
    }

    /** The switch takes the list and sends it back like that. */
    scripted_line &expect_taken(const bytes &back, std::uint8_t sum)
    {
        expect_list().answers({0x06, 0x20}).expects({0x06});
        return far.answers(joint({{0x01}, one_length, back, {sum}})).expects({0x06});
    }

    std::string result_of(const bytes &back, std::uint8_t sum)
    {
        begins(banner, 0x20);
        expect_taken(back, sum).expects({0x03});
        result = run(job());
        return results(job(), result).front();
    }

    outcome result;
};

using device_exchange = devices;
using device_outcome = devices;
using device_job_reading = devices;

using words = std::vector<std::string>;

/** The same fan in two records, in two slots. */
const std::string two_records = [] {
    auto first = one_fan;
    first.replace(0, 10, "[[record]]\n[[record.device]]");
    auto second = first;
    second.replace(second.find("index = 2"), 9, "index = 3");
    return first + second;
}();
const bytes second_list = [] {
    auto list = one_list;
    list[8] = 3;
    return list;
}();

} // namespace

TEST_F(device_exchange, sends_the_list_compares_it_and_ends_the_operation)
{
    EXPECT_EQ(result_of(one_list, 0x8F), "written and read back");
    EXPECT_EQ(result.end, ending::stored);
    EXPECT_EQ(observer.text, banner);
    EXPECT_EQ(reply_bytes(result), (bytes{0x06, 0x06, 0x20, 0x01}));
}

TEST_F(device_exchange, starts_the_sum_anew_with_each_record)
{
    options.attempts = 2;
    begins(banner, 0x20);
    expect_list(0x8F).answers({0x20}).expects({0x20}).answers({0x06});
    expect_list(0x1E).answers({0x06, 0x20}).expects({0x06}); // 0x11E: both attempts
    far.answers(joint({{0x01}, one_length, one_list, {0x8F}})).expects({0x06});
    far.expects({0x20}).answers({0x06});
    far.expects(joint({{0x01}, one_length, second_list, {0x90}})).answers({0x06, 0x20});
    far.expects({0x06}).answers(joint({{0x01}, one_length, second_list, {0x90}})).expects({0x06});
    far.expects({0x03});
    const auto both = job(two_records);
    result = run(both);
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 2);
    EXPECT_EQ(results(both, result), (words{"written and read back", "written and read back"}));
}

TEST_F(device_exchange, goes_on_with_the_next_record_when_a_device_is_not_well)
{
    begins(banner, 0x20);
    expect_taken(with(one_list, flag_at, 1), 0x90);
    far.expects({0x20}).answers({0x06});
    far.expects(joint({{0x01}, one_length, second_list, {0x90}})).answers({0x06, 0x20});
    far.expects({0x06}).answers(joint({{0x01}, one_length, second_list, {0x90}})).expects({0x06});
    far.expects({0x03});
    const auto both = job(two_records);
    result = run(both);
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result.reason, "1 of 2 units is not confirmed");
    EXPECT_EQ(results(both, result), (words{"not present", "written and read back"}));
}

TEST_F(device_exchange, stops_at_a_record_that_fails_and_ends_the_operation)
{
    begins(banner, 0x20);
    expect_list().answers({0x29}).expects({0x03});
    const auto both = job(two_records);
    result = run(both);
    EXPECT_EQ(result.end, ending::refused);
    EXPECT_EQ(results(both, result), (words{"not written", "not written"}));
}

TEST_F(device_exchange, keeps_what_it_knows_of_the_records_before_a_failure)
{
    options.store = 1s;
    begins(banner, 0x20);
    expect_taken(one_list, 0x8F);
    far.expects({0x20}).answers({0x06});
    far.expects(joint({{0x01}, one_length, second_list, {0x90}})).expects({0x03});
    const auto both = job(two_records);
    result = run(both);
    EXPECT_EQ(result.end, ending::silent);
    EXPECT_EQ(results(both, result), (words{"written and read back", "not known"}));
}

TEST_F(device_exchange, tries_again_after_a_refusal_with_the_sum_anew)
{
    options.attempts = 2;
    begins(banner, 0x20);
    expect_list().answers({0x28}).expects({0x20}).answers({0x06});
    expect_taken(one_list, 0x8F).expects({0x03});
    result = run(job());
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.attempts, 2);
}

TEST_F(device_exchange, sends_a_record_again_whose_outcome_was_damaged)
{
    options.attempts = 2;
    begins(banner, 0x20);
    expect_list().answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01}, one_length, one_list, {0x00}}));
    // The switch takes the first start byte for the last word on the list before.
    far.expects({0x20}).expects({0x20}).answers({0x06});
    expect_taken(one_list, 0x8F).expects({0x03});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(device_exchange, does_not_know_of_a_record_that_was_taken_and_then_refused)
{
    options.attempts = 2;
    begins(banner, 0x20);
    expect_list().answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01}, one_length, one_list, {0x00}})); // damaged on the way
    far.expects({0x20}).answers({0x06});
    expect_list().answers({0x28}).expects({0x03});
    result = run(job());
    EXPECT_EQ(result.end, ending::refused);
    EXPECT_TRUE(result.taken);
    EXPECT_EQ(results(job(), result), (words{"not known"}));
}

TEST_F(device_exchange, starts_the_sum_anew_after_a_list_that_was_taken)
{
    options.attempts = 3;
    begins(banner, 0x20);
    expect_list(0x8F).answers({0x20}).expects({0x20}).answers({0x06});
    expect_list(0x1E).answers({0x06, 0x20}).expects({0x06});
    far.answers(joint({{0x01}, one_length, one_list, {0x00}})); // damaged on the way
    far.expects({0x20}).answers({0x06});
    expect_taken(one_list, 0x8F).expects({0x03});
    EXPECT_TRUE(run(job()).ok());
}

TEST_F(device_outcome, tells_each_flag)
{
    const std::vector<std::pair<std::uint8_t, std::string>> flags{
        {1, "not present"},
        {2, "not written"},
        {3, "written, but it cannot be read back"},
        {4, "not written: another type in the slot"},
        {0xFB, "not written: its type cannot be read, result 0xFB"},
    };
    for (const auto &[flag, told] : flags) {
        EXPECT_EQ(result_of(with(one_list, flag_at, flag), static_cast<std::uint8_t>(0x8F + flag)),
                  told);
        EXPECT_EQ(result.end, ending::failed);
    }
}

TEST_F(device_outcome, tells_what_is_read_back_as_something_else)
{
    EXPECT_EQ(result_of(with(one_list, serial_at, 'G'), 0x90), "differs: holds serial \"G1\"");
    EXPECT_EQ(result_of(with(one_list, hardware_at, '2'), 0x90), "differs: holds hardware \"2.0\"");
}

TEST_F(device_outcome, compares_texts_up_to_their_end)
{
    EXPECT_EQ(result_of(with(one_list, serial_at + 3, 0x55), 0xE4), "written and read back");
}

TEST_F(device_outcome, believes_no_device_that_comes_back_as_another_one)
{
    EXPECT_EQ(result_of(with(one_list, 8, 3), 0x90), "not known: comes back as another unit");
    EXPECT_EQ(result_of(with(one_list, 1, 1), 0x90), "not known: comes back as another unit");
}

TEST_F(device_job_reading, makes_an_entry_of_each_kind)
{
    const auto found =
        job(one_fan + "[[device]]\nkind = \"fan\"\nindex = 1\nfan_type = 5\n"
                      "hardware = \"123456\"\n"
                      "[[device]]\nkind = \"supply\"\nindex = 0\nname = \"PSU-550\"\n"
                      "hardware = \"A01\"\n"
                      "[[device]]\nkind = \"card\"\nindex = 255\ntype = 0x89ABCDEF\n"
                      "serial = \"C1\"\n");
    ASSERT_EQ(found.operation.lists.size(), 1U);
    EXPECT_EQ(found.operation.lists[0].length, (bytes{0x00, 0x00, 0x02, 0x12}));
    EXPECT_EQ(found.operation.lists[0].payload,
              joint({{0x04, 0x00, 0x0C, 0x02, 0x00, 0x00},
                     entry(1, 2, 0, {'F', '1'}, {'1', '.', '0'}, {}, {0, 0, 0x80, 0x01}),
                     entry(1, 1, 5, {}, {'1', '2', '3', '4', '5', '6'}, {}, {0, 0, 0, 0}),
                     entry(2, 0, 0, {}, {'A', '0', '1'}, {'P', 'S', 'U', '-', '5', '5', '0'},
                           {0, 0, 0, 0}),
                     entry(3, 255, 0, {'C', '1'}, {}, {}, {0x89, 0xAB, 0xCD, 0xEF})}));
    EXPECT_EQ(found.units.rows, (std::vector<words>{{"fan 2", "F1", "1.0", "type 0x00008001"},
                                                    {"fan 1", "", "123456", "fan type 0x05"},
                                                    {"supply 0", "", "A01", "PSU-550"},
                                                    {"card 255", "C1", "", "type 0x89ABCDEF"}}));
}

TEST_F(device_job_reading, splits_more_than_sixteen_devices)
{
    std::string text;
    for (int index = 0; index < 17; ++index) {
        text += "[[device]]\nkind = \"card\"\nindex = " + std::to_string(index) +
                "\ntype = 1\nserial = \"C\"\n";
    }
    const auto found = job(text);
    ASSERT_EQ(found.operation.lists.size(), 2U);
    EXPECT_EQ(found.operation.lists[0].length, (bytes{0x00, 0x00, 0x08, 0x36}));
    EXPECT_EQ(found.operation.lists[0].payload[0], 16);
    EXPECT_EQ(found.operation.lists[1].length, one_length);
    EXPECT_EQ(found.operation.lists[1].payload[8], 16); // the slot
    EXPECT_EQ(found.units.rows.size(), 17U);
}

TEST_F(device_job_reading, takes_sixteen_devices_in_a_record)
{
    std::string text = "[[record]]\n";
    for (int index = 0; index < 17; ++index) {
        text += "[[record.device]]\nkind = \"card\"\nindex = " + std::to_string(index) +
                "\ntype = 1\nserial = \"C\"\n";
    }
    EXPECT_EQ(told(text), "job:1: 17 devices: expected at most 16 in a record");
    EXPECT_EQ(told(one_fan + "[[record]]\n"), "job:1: unknown key \"device\": expected record\n"
                                              "job:7: no device: expected at least one [[device]]");
}

TEST_F(device_job_reading, takes_what_the_switch_makes_something_of)
{
    const std::string supply = "[[device]]\nkind = \"supply\"\nindex = 0\nhardware = \"A\"\n";
    const std::string card = "[[device]]\nkind = \"card\"\nindex = 0\nserial = \"C\"\ntype = 0\n";
    EXPECT_EQ(told(supply + "name = \"N\"\n"), "nothing");
    EXPECT_EQ(told(supply + "name = \"N\"\nserial = \"S\"\n"),
              "job:6: unknown key \"serial\": expected kind, index, hardware, name");
    EXPECT_EQ(told(supply),
              "job:1: missing \"name\": expected a text of 1 to 32 printable ASCII characters");
    EXPECT_EQ(told(card), "nothing");
    EXPECT_EQ(told(card + "name = \"N\"\n"),
              "job:6: unknown key \"name\": expected kind, index, serial, hardware, type");
    EXPECT_EQ(told("[[device]]\nkind = \"rack\"\nindex = 0\n"),
              "job:2: \"kind\" is \"rack\": expected fan, supply or card");
}

TEST_F(device_job_reading, takes_one_type_of_a_fan)
{
    const std::string fan = "[[device]]\nkind = \"fan\"\nindex = 0\nserial = \"S\"\n";
    EXPECT_EQ(told(fan + "fan_type = 0\n"), "nothing");
    EXPECT_EQ(told(fan + "type = 4294967295\n"), "nothing");
    EXPECT_EQ(told(fan + "type = 0\n"),
              "job:5: \"type\" is 0: expected a whole number from 1 to 4294967295");
    EXPECT_EQ(
        told(fan + "type = 1\nfan_type = 1\n"),
        "job:6: both \"type\" and \"fan_type\": expected one of them, which is the type of fan "
        "that is in the slot");
    EXPECT_EQ(told(fan), "job:1: neither \"type\" nor \"fan_type\": expected one of them, which is "
                         "the type of fan that is in the slot");
}

TEST_F(device_job_reading, takes_texts_that_fill_their_fields)
{
    const std::string card = "[[device]]\nkind = \"card\"\nindex = 0\ntype = 1\n";
    EXPECT_EQ(told(card + "serial = \"123456789012345678901234\"\nhardware = \"123456\"\n"),
              "nothing");
    EXPECT_EQ(
        told(card + "serial = \"1234567890123456789012345\"\nhardware = \"1234567\"\n"),
        "job:5: \"serial\" is \"1234567890123456789012345\", 25 bytes: expected a text of 1 to "
        "24 printable ASCII characters\n"
        "job:6: \"hardware\" is \"1234567\", 7 bytes: expected a text of 1 to 6 printable ASCII "
        "characters");
    EXPECT_EQ(told(card), "job:1: nothing to write: expected \"serial\", \"hardware\" or both");
}

TEST_F(device_job_reading, takes_a_device_once)
{
    EXPECT_EQ(told(one_fan + one_fan), "job:7: fan 2 is that of line 1: expected each unit once");
}
