#include "third_party_shell.h"

#include <filesystem>
#include <gtest/gtest.h>

// An installation into an empty folder, which must find its libraries where it put them.

TEST(simboard_installed, runs_the_installed_programs_on_a_board)
{
    const scratch_board board("tlv-named");
    const std::string prefix = board.beside("prefix");
    const outcome installed = shell(INSTALL_COMMAND " --prefix " + prefix);
    ASSERT_EQ(installed.status, 0) << installed.output;
    const std::string run = prefix + "/" INSTALL_BINDIR "/simboard run " + board.path() + " -- ";

    const outcome preloaded = shell(run + "printenv LD_PRELOAD");
    // A loader for another processor than this library's complains about it first.
    EXPECT_TRUE(preloaded.output.ends_with(std::filesystem::canonical(prefix).string() +
                                           "/" INSTALL_LIBDIR "/setmac-simboard/libsimboard.so\n"))
        << preloaded.output;
    const outcome legacy = shell(run + "setsn ABCDEFGHJ1234");
    EXPECT_EQ(legacy.status, 0) << legacy.output;
    const outcome tlv = shell(run + "setmac-tlv");
    EXPECT_EQ(tlv.status, 0) << tlv.output;
    EXPECT_NE(tlv.output.find("SerialNO=ABCDEFGHJ1234\n"), std::string::npos) << tlv.output;
    // Its link stands in a folder of its own. Without arguments it ends with a failure.
    const outcome link = shell(run + prefix + "/" INSTALL_LIBEXECDIR "/setmac/tlv/prov_setmac");
    EXPECT_EQ(link.status, 1);
    EXPECT_EQ(link.output, "");
    // Without arguments it asks the driver library, which the board answers for, and ends.
    shell(run + "prov_setmac");
    EXPECT_NE(board.log().find(" dev_drv_init libdev_drv answer=0 = 0\n"), std::string::npos);
}
