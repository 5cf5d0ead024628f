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

TEST_F(tlv_serial, of_negative_length_is_an_empty_one)
{
    load(serial_image);
    EXPECT_EQ(printed([] { EXPECT_EQ(tlv_set_sn(g_setmac_data, -2), 0); }),
              std::string("\x06\0", 2));
    EXPECT_EQ(value(0x23), byte_list{});
}

} // namespace
