#include "exchange/format_info.h"

#include <cstring>

#include "unit/switch/eeprom/tlv_fixture.h"

namespace {

using support::byte_list;
using support::bytes;
using support::default_image;
using support::trace_log;

/** The conversions work on the board's own image. */
class onie : public testing::Test {
protected:
    void SetUp() override
    {
        memset(g_data_eeprom, 0, sizeof(g_data_eeprom));
        std::copy(default_image.begin(), default_image.end(), g_data_eeprom);
        eeprom_writeable = 0;
    }

    void TearDown() override { eeprom_writeable = 0; }

    static byte_list value(uint8_t code)
    {
        int32_t offset = 0;
        if (!tlvinfo_find_tlv(g_data_eeprom, code, &offset)) {
            return {0xDE, 0xAD};
        }
        const tlv_record record = tlv_record_at(g_data_eeprom, static_cast<size_t>(offset));
        return {record.content().begin(), record.content().end()};
    }

    static bool has(uint8_t code)
    {
        int32_t offset = 0;
        return tlvinfo_find_tlv(g_data_eeprom, code, &offset);
    }

    static std::string convert(uint8_t code, std::string_view text)
    {
        const trace_log log;
        analy_private_to_onie_code(code, text);
        return log.unnumbered();
    }

    static bool image_is_default()
    {
        return std::equal(default_image.begin(), default_image.end(), g_data_eeprom);
    }
};

const std::string prefix = "[SETMAC <analy_private_to_onie_code>:<N>] \r\n";

TEST_F(onie, device_version_is_read_from_both_parts_of_the_hardware_version)
{
    const struct {
        const char *text;
        uint8_t version;
        const char *label;
    } cases[] = {{"1.00", 100, "00"}, {"2.1", 21, "1"}, {"1.0", 10, "0"},
                 {"0.1", 1, "1"},     {"A.B", 0, "B"},  {"2.55", 255, "55"}};
    for (const auto &[text, version, label] : cases) {
        SetUp();
        convert(0x41, text);
        EXPECT_EQ(value(0x26), byte_list{version}) << text;
        EXPECT_EQ(value(0x27), bytes(label)) << text;
        EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
    }
}

TEST_F(onie, hardware_version_is_logged_step_by_step)
{
    EXPECT_EQ(convert(0x41, "1.00"), prefix + "device version is:49, label revision is:00." +
                                         prefix + "Deleting TLV 0x26: device version" + prefix +
                                         "Deleting TLV 0x27: label revision" + prefix +
                                         "Adding   TLV 0x26: device version" +
                                         "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:2\r\n" +
                                         prefix + "Adding   TLV 0x27: label revision");
}

TEST_F(onie, hardware_version_of_five_characters_is_a_misfit)
{
    EXPECT_EQ(convert(0x41, "1.000"), prefix + "Hardware Version length misfit.");
    EXPECT_TRUE(image_is_default());
}

TEST_F(onie, hardware_version_needs_its_dot_behind_one_character)
{
    for (const char *text : {"12.3", "1", "1.", "", "1-0"}) {
        EXPECT_EQ(convert(0x41, text), prefix + "Hardware Version format wrong.") << text;
        EXPECT_TRUE(image_is_default());
    }
}

TEST_F(onie, device_version_above_255_is_left_out_and_counts_as_added)
{
    const auto log = convert(0x41, "9.99");
    EXPECT_FALSE(has(0x26));
    EXPECT_EQ(value(0x27), bytes("99"));
    EXPECT_NE(log.find(prefix + "Adding   TLV 0x26: device version"), std::string::npos);
    EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
}

TEST_F(onie, platform_name_comes_from_the_product_model)
{
    EXPECT_EQ(convert(0x21, "ABC"), prefix + "Deleting TLV 0x28: platform name" +
                                        "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:13\r\n" +
                                        prefix + "Adding   TLV 0x28: platform name");
    EXPECT_EQ(value(0x28), bytes("x86-64-ABC-v1"));
}

TEST_F(onie, product_model_may_have_18_characters)
{
    convert(0x21, "123456789012345678");
    EXPECT_EQ(value(0x28), bytes("x86-64-123456789012345678-v1"));
    SetUp();
    EXPECT_EQ(convert(0x21, "1234567890123456789"), prefix + "product name length misfit.");
    EXPECT_TRUE(image_is_default());
}

TEST_F(onie, other_codes_are_left_alone)
{
    for (const uint8_t code : byte_list{0x22, 0x40, 0x4A, 0x00}) {
        EXPECT_EQ(convert(code, "1.00"), "");
    }
    EXPECT_TRUE(image_is_default());
}

TEST_F(onie, write_enable_register_is_taken_from_its_node_alone)
{
    const byte_list value = {0x31, 0x32};
    get_eeprom_writeable_reg("e2_write_en", value);
    EXPECT_EQ(eeprom_writeable, 0);
    const trace_log log;
    get_eeprom_writeable_reg("e2_write_en_reg", value);
    EXPECT_EQ(eeprom_writeable, 0x31);
    EXPECT_EQ(log.unnumbered(),
              "[SETMAC <get_eeprom_writeable_reg>:<N>] \r\nget e2 write writeable reg:0x31");
    get_eeprom_writeable_reg("e2_write_en_reg", {});
    EXPECT_EQ(eeprom_writeable, 0x31) << "an empty value changes nothing";
}

} // namespace
