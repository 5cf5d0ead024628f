#include <cerrno>

#include "exchange/protocol.h"
#include "tlv_payload_fixture.h"

namespace {

using support::byte_list;
using support::bytes;
using support::cpld_path;
using support::default_image;
using support::e2prom_path;
using support::operator+;
using support::printed;
using support::serial_image;
using support::tlv_payload;
using support::trace_log;

/** Serial numbers; what goes to the PC is what goes to standard output. */
class tlv_serial : public tlv_payload {
protected:
    std::string set(const byte_list &content, int32_t result = 0)
    {
        const byte_list exact(content);
        return printed([&] {
            EXPECT_EQ(tlv_set_sn(exact.data(), static_cast<int32_t>(exact.size())), result);
        });
    }

    std::vector<std::string> driver_calls() const
    {
        std::vector<std::string> calls;
        for (const auto &done : board().log()) {
            if (done.path == "libdev_drv") {
                calls.push_back(done.name + " " + done.arguments);
            }
        }
        return calls;
    }
};

TEST_F(tlv_serial, takes_the_place_of_the_old_one_and_is_echoed)
{
    load(serial_image);
    EXPECT_EQ(set(bytes("NEWSERIAL0001")), "\x06\x0D"
                                           "NEWSERIAL0001");
    EXPECT_EQ(value(0x23), bytes("NEWSERIAL0001"));
    EXPECT_EQ(stored(image().size()), image());
    EXPECT_TRUE(is_checksum_valid(g_data_eeprom));
}

TEST_F(tlv_serial, lifts_the_protection_by_the_driver_library_and_restores_it)
{
    load(serial_image);
    set(bytes("NEWSERIAL0001"));
    ASSERT_EQ(driver_calls().size(), 3U);
    EXPECT_EQ(driver_calls()[0].substr(0, 12), "dev_drv_init");
    EXPECT_EQ(driver_calls()[1], "drv_set_e2_wr_pro index=0 protect=0 answer=0");
    EXPECT_EQ(driver_calls()[2], "drv_set_e2_wr_pro index=0 protect=1 answer=0");
    EXPECT_EQ(board().count("write", cpld_path), 0U);
}

TEST_F(tlv_serial, without_a_record_to_replace_writes_nothing)
{
    load(default_image);
    EXPECT_EQ(set(bytes("NEWSERIAL0001"), -1), "");
    EXPECT_TRUE(nothing_was_written());
    EXPECT_TRUE(driver_calls().empty());
}

TEST_F(tlv_serial, that_cannot_be_programmed_leaves_the_protection_lifted)
{
    load(serial_image);
    board().inject({.operation = "transfer", .path = e2prom_path, .times = 5, .error = EIO});
    EXPECT_EQ(set(bytes("NEWSERIAL0001"), -3), "");
    EXPECT_EQ(driver_calls().size(), 2U);
}

TEST_F(tlv_serial, of_70_bytes_is_kept_as_63_and_echoed_filled_up)
{
    load(serial_image);
    EXPECT_EQ(set(byte_list(70, 'S')), "\x06\x46" + std::string(63, 'S') + std::string(7, '\0'));
    EXPECT_EQ(value(0x23), byte_list(63, 'S'));
}

TEST_F(tlv_serial, ends_at_a_nul_and_is_echoed_filled_up)
{
    load(serial_image);
    EXPECT_EQ(set({'A', 0, 'B'}), std::string("\x06\x03"
                                              "A\0\0",
                                              5));
    EXPECT_EQ(value(0x23), bytes("A"));
}

TEST_F(tlv_serial, is_echoed_with_the_nul_that_the_first_record_of_two_holds)
{
    // Serial numbers "A" and "X", NUL, "Y", NUL, "Z": the first is replaced behind the second.
    load({0x54, 0x6C, 0x76, 0x49, 0x6E, 0x66, 0x6F, 0x00, 0x01, 0x00, 0x10, 0x23, 0x01, 0x41,
          0x23, 0x05, 0x58, 0x00, 0x59, 0x00, 0x5A, 0xFE, 0x04, 0x89, 0x9B, 0x6E, 0xAA});
    EXPECT_EQ(set(bytes("NEW")), std::string("\x06\x03X\0Y", 5));
    EXPECT_EQ(value(0x23), (byte_list{'X', 0, 'Y', 0, 'Z'}));
    EXPECT_EQ(set(bytes("LONGER")), std::string("\x06\x06NEW\0\0\0", 8));
}

TEST_F(tlv_serial, is_not_programmed_into_an_image_whose_crc_record_cannot_be_right)
{
    // A serial number and three CRC records, of which every edit updates the first.
    load({0x54, 0x6C, 0x76, 0x49, 0x6E, 0x66, 0x6F, 0x00, 0x01, 0x00, 0x18, 0x23,
          0x04, 0x4F, 0x4C, 0x44, 0x31, 0xFE, 0x04, 0x00, 0x00, 0x00, 0x00, 0xFE,
          0x04, 0x00, 0x00, 0x00, 0x00, 0xFE, 0x04, 0xFB, 0xBC, 0xFC, 0x60});
    ASSERT_TRUE(is_checksum_valid(g_data_eeprom));
    const trace_log log;
    EXPECT_EQ(set(bytes("NEW1"), -3), "");
    EXPECT_TRUE(nothing_was_written());
    EXPECT_TRUE(driver_calls().empty()) << "the protection stays";
    EXPECT_NE(log.unnumbered().find(
                  "[SETMAC <tlv_set_sn>:<N>] \r\nThe image has no valid CRC record!\r\n"),
              std::string::npos);
}

TEST_F(tlv_serial, of_negative_length_is_an_empty_one)
{
    load(serial_image);
    EXPECT_EQ(printed([] { EXPECT_EQ(tlv_set_sn(g_setmac_data, -2), 0); }),
              std::string("\x06\0", 2));
    EXPECT_EQ(value(0x23), byte_list{});
}

} // namespace
