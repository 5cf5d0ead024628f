#include "station/unit_jobs/supply_job.h"
#include "unit/station/exchanges/unit_runs.h"

using namespace station;

namespace {

const std::string one_supply = "[[supply]]\nindex = 1\nchannel = 0\naddress = 0x58\n"
                               "serial = \"AB1\"\nhardware = \"A01\"\n";

// One supply, whose bytes add up to 0x1D + 0x1C + 0x59 + 0xB4 + 0xA2 = 0x1E8.
const bytes one_list{0x01, 0x03, 0x19,                                  // count, 3, 25
                     0x05, 0x17,                                        // element
                     0x01, 0x00, 0x58,                                  // index, channel, address
                     'A',  'B',  '1',  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // serial
                     'A',  '0',  '1',  0, 0,                            // hardware
                     0x00};                                             // flag
constexpr std::size_t serial_at = 8;
constexpr std::size_t hardware_at = 22;
constexpr std::size_t flag_at = 27;

class supplies : public unit_runs {
protected:
    static unit_job job(const std::string &text = one_supply)
    {
        return read_as(read_supply_job, text);
    }
    static std::string told(const std::string &text) { return told_by(read_supply_job, text); }

    static std::string supply(const std::string &address, const std::string &serial = "A",
                              const std::string &hardware = "A01")
    {
        return "[[supply]]\nindex = 1\nchannel = 0\naddress = " + address + "\nserial = \"" +
               serial + "\"\nhardware = \"" + hardware + "\"\n";
    }

    /** How the supply came out that comes back like that, with the sum of its list. */
    std::string result_of(const bytes &back, std::uint8_t sum)
    {
        begins(" Using your PC SetPowerSn program to perform SetPowerSn Operation ......", 0x20)
            .expects(joint({{0x01, 0x1C}, one_list, {0xE8}}))
            .answers({0x06, 0x20})
            .expects({0x06})
            .answers(joint({{0x01, 0x1C}, back, {sum}}))
            .expects({0x06});
        result = run(job());
        return results(job(), result).front();
    }

    outcome result;
};

using supply_outcome = supplies;
using supply_job_reading = supplies;

} // namespace

TEST_F(supply_outcome, is_well_when_the_same_is_read_back)
{
    EXPECT_EQ(result_of(one_list, 0xE8), "written and read back");
    EXPECT_EQ(result.end, ending::stored);
}

TEST_F(supply_outcome, tells_each_flag)
{
    const std::vector<std::pair<std::uint8_t, std::string>> flags{
        {1, "not written"},
        {2, "written, but it cannot be read back"},
        {3, "not present"},
        {4, "not known: outcome 0x04"},
    };
    for (const auto &[flag, words] : flags) {
        EXPECT_EQ(result_of(with(one_list, flag_at, flag), static_cast<std::uint8_t>(0xE8 + flag)),
                  words);
        EXPECT_EQ(result.end, ending::failed);
        EXPECT_EQ(result.reason, "the unit is not confirmed");
    }
}

TEST_F(supply_outcome, tells_what_is_read_back_as_something_else)
{
    EXPECT_EQ(result_of(with(one_list, serial_at, 'B'), 0xE9), "differs: holds serial \"BB1\"");
    EXPECT_EQ(result.end, ending::failed);
    EXPECT_EQ(result_of(with(with(one_list, serial_at, 0x07), hardware_at, 'B'), 0xAF),
              "differs: holds serial \"\\x07B1\" hardware \"B01\"");
}

TEST_F(supply_outcome, believes_no_supply_that_comes_back_as_another_one)
{
    EXPECT_EQ(result_of(with(one_list, 7, 0x59), 0xE9), "not known: comes back as another unit");
}

TEST_F(supply_outcome, believes_no_list_of_another_count)
{
    EXPECT_EQ(result_of(with(one_list, 0, 0x02), 0xE9), "not known: comes back as another unit");
}

TEST_F(supply_job_reading, makes_the_list)
{
    const auto found = job();
    ASSERT_EQ(found.operation.lists.size(), 1U);
    EXPECT_EQ(found.operation.lists[0].payload, one_list);
    EXPECT_EQ(found.units.columns,
              (std::vector<std::string>{"supply", "channel", "address", "serial", "hardware"}));
    EXPECT_EQ(found.units.rows[0], (std::vector<std::string>{"1", "0", "0x58", "AB1", "A01"}));
}

TEST_F(supply_job_reading, takes_eight_supplies_and_no_more)
{
    std::string text;
    for (int address = 0x58; address < 0x60; ++address) {
        text += supply(std::to_string(address));
    }
    const auto found = job(text);
    EXPECT_EQ(found.operation.lists[0].length, (bytes{0xCB}));
    EXPECT_EQ(found.operation.lists[0].payload[0], 8);
    auto ninth = supply("0x58");
    ninth.replace(ninth.find("channel = 0"), 11, "channel = 1");
    EXPECT_EQ(told(text + ninth),
              "job:49: one too many: expected at most 8, which is what the switch takes");
}

TEST_F(supply_job_reading, takes_addresses_where_the_switch_sees_a_supply)
{
    EXPECT_EQ(told(supply("0x58")), "nothing");
    EXPECT_EQ(told(supply("0x5F")), "nothing");
    EXPECT_EQ(told(supply("0x78")), "nothing"); // the switch looks at the bit of 0x58
    EXPECT_EQ(told(supply("0x57")),
              "job:4: \"address\" is 0x57, where the switch sees no supply: expected 0x58 to 0x5F");
    EXPECT_EQ(told(supply("0x60")),
              "job:4: \"address\" is 0x60, where the switch sees no supply: expected 0x58 to 0x5F");
    EXPECT_EQ(told(supply("0x80")),
              "job:4: \"address\" is 128: expected a whole number from 1 to 127");
    EXPECT_EQ(told(supply("0")), "job:4: \"address\" is 0: expected a whole number from 1 to 127");
}

TEST_F(supply_job_reading, takes_what_the_switch_writes_whole)
{
    EXPECT_EQ(told(supply("0x58", "ABCDEFGHJ1234", "A012")), "nothing");
    EXPECT_EQ(
        told(supply("0x58", "ABCDEFGHJ12345", "A0123")),
        "job:5: \"serial\" is \"ABCDEFGHJ12345\", 14 bytes: expected a text of 1 to 13 "
        "printable ASCII characters\n"
        "job:6: \"hardware\" is \"A0123\", 5 bytes: expected a text of 1 to 4 printable ASCII "
        "characters");
}

TEST_F(supply_job_reading, takes_a_channel_and_address_once)
{
    EXPECT_EQ(told(supply("0x58") + supply("0x59")), "nothing");
    EXPECT_EQ(told(supply("0x58") + supply("0x58")),
              "job:7: channel 0, address 0x58 is that of line 1: expected each unit once");
}
