#include <cerrno>
#include <csignal>

#include <sys/resource.h>

#include "exchange/protocol.h"
#include "payloads.h"
#include "tlv_payload_fixture.h"

// What becomes of the EEPROM and of its write protection once a TLV payload has been understood.

namespace {

using support::cpld_path;
using support::default_image;
using support::e2prom_path;
using support::node;
using support::part;
using support::printed;
using support::serial_image;
using support::tlv_payload;
using support::trace_log;

/** A debug log in a file that may not grow beyond `limit` bytes, for as long as it lives. */
class limited_log {
public:
    explicit limited_log(size_t limit)
    {
        setmac_debug_fd = tmpfile();
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limited = {.rlim_cur = limit, .rlim_max = before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    limited_log(const limited_log &) = delete;
    limited_log &operator=(const limited_log &) = delete;
    ~limited_log()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        fclose(setmac_debug_fd);
        setmac_debug_fd = nullptr;
    }

private:
    rlimit before_{};
};

/** The board that a signal looks at when it acts, and the writes to its CPLD by then. */
const sim::board *board_of_signal = nullptr;
std::vector<size_t> writes_by_signal;

void look_at_board(int)
{
    writes_by_signal.push_back(board_of_signal->count("write", cpld_path));
}

TEST_F(tlv_payload, whose_log_reaches_its_limit_meanwhile_protects_the_eeprom_again)
{
    size_t limit = 0;
    {
        const trace_log log;
        apply({});
        limit = log.text().find("\r\nSave to ram OK");
        ASSERT_NE(limit, std::string::npos);
    }
    SetUp();
    board_of_signal = &board();
    writes_by_signal.clear();
    const auto before = signal(SIGXFSZ, look_at_board);
    {
        const limited_log log(limit);
        apply({});
    }
    signal(SIGXFSZ, before);
    EXPECT_EQ(writes(),
              (std::vector<std::pair<uint64_t, int>>{{0x25, 0xFB}, {0, eeprom}, {0x25, 0xFF}}));
    EXPECT_EQ(writes_by_signal, std::vector<size_t>{2}) << "it acts once, behind the protection";
}

TEST_F(tlv_payload, of_no_bytes_programs_the_default_image)
{
    EXPECT_EQ(apply({}), "Manufacturer         0x2B   6 talvex\n"
                         "Country Code         0x2C   2 cn\n"
                         "Vendor Name          0x2D   6 talvex\n"
                         "Diag Version         0x2E   1 0\n"
                         "Service Tag          0x2F   1 0\n"
                         "Part Number          0x22   4 0000\n"
                         "ONIE Version         0x29   7 0000000\n"
                         "Device Version       0x26   1 1\n"
                         "Label Revision       0x27   2 00\n"
                         "Platform Name        0x28   6 x86-64\n"
                         "CRC-32               0xFE   4 0xED7D657E\n");
    EXPECT_EQ(stored(default_image.size()), default_image);
    EXPECT_EQ(board().eeprom(0x56)[255], 0) << "all 256 bytes are written";
    EXPECT_STREQ(get_product_info("ProductInfo"), "0B0EFACE");
}

TEST_F(tlv_payload, of_negative_length_is_empty)
{
    printed([] { EXPECT_EQ(tlv_data_apply(g_setmac_data, -4), 0); });
    EXPECT_EQ(stored(default_image.size()), default_image);
}

TEST_F(tlv_payload, does_not_carry_over_what_the_image_held)
{
    load(serial_image);
    apply({});
    EXPECT_EQ(image(), default_image);
}

TEST_F(tlv_payload, enables_writing_by_the_default_register)
{
    const trace_log log;
    apply({});
    EXPECT_EQ(writes(),
              (std::vector<std::pair<uint64_t, int>>{{0x25, 0xFB}, {0, eeprom}, {0x25, 0xFF}}));
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x0]!\r\n"
                        "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable[0x25]!\r\n"
                        "[SETMAC <prog_eeprom>:<N>] Save product info success.\n"
                        "[SETMAC <tlv_data_apply>:<N>] \r\nSave to ram OK\r\n"),
              std::string::npos);
}

TEST_F(tlv_payload, enables_writing_by_the_register_it_names)
{
    const trace_log log;
    apply(part(2, node("e2_write_en_reg", 1, {0x31})));
    EXPECT_EQ(writes(),
              (std::vector<std::pair<uint64_t, int>>{{0x31, 0x00}, {0, eeprom}, {0x31, 0xFF}}));
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable reg:[0x31]!\r\n"
                                    "[SETMAC <tlv_data_apply>:<N>] \r\nwrite enable:[0x31]!\r\n"),
              std::string::npos);
    EXPECT_EQ(stored(default_image.size()), default_image);
}

TEST_F(tlv_payload, that_cannot_be_programmed_leaves_writing_enabled)
{
    board().inject(
        {.operation = "transfer", .path = e2prom_path, .call = 4, .times = 5, .error = EIO});
    const trace_log log;
    apply({}, -1);
    EXPECT_EQ(writes(), (std::vector<std::pair<uint64_t, int>>{{0x25, 0xFB}, {0, eeprom}}));
    EXPECT_NE(log.unnumbered().find("[SETMAC <tlv_data_apply>:<N>] \r\nprog err!\r\n"),
              std::string::npos);
    EXPECT_STREQ(get_product_info("ProductInfo"), "0B0EFACE");
}

TEST_F(tlv_payload, is_programmed_though_the_register_cannot_be_written)
{
    board().inject({.operation = "open", .path = cpld_path, .times = 0, .error = EACCES});
    apply({});
    EXPECT_TRUE(nothing_was_written()) << "the protection stayed in the way";
}

} // namespace
