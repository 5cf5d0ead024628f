#include "app/setmac_main.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include "unit/switch/store/productinfo_fixture.h"

// What is asked for, where the input does not wait: more of it than has come may follow.

namespace {

using command = int32_t (*)(int argc, char **argv);

/** A pipe in the place of descriptor 0, which gives an error where it is empty and open. */
class prompts : public support::productinfo {
protected:
    void SetUp() override
    {
        saved_ = dup(STDIN_FILENO);
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        writer_ = ends[1];
        forget_input();
        load_blank();
    }

    void TearDown() override
    {
        end_input();
        dup2(saved_, STDIN_FILENO);
        close(saved_);
        forget_input();
        productinfo::TearDown();
    }

    void type(std::string_view text) const
    {
        ASSERT_EQ(write(writer_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void end_input()
    {
        if (writer_ >= 0) {
            close(writer_);
            writer_ = -1;
        }
    }

    /** Runs a command without arguments; what it prints. */
    static std::string run(command of, int32_t result)
    {
        return support::printed([&] { EXPECT_EQ(of(1, nullptr), result); });
    }

private:
    static void forget_input()
    {
        __fpurge(stdin);
        clearerr(stdin);
    }

    int saved_ = -1;
    int writer_ = -1;
};

const std::string unread = "\r\nError: The input cannot be read.\r\n";
const std::string greeting = "Please input the name and value of setmac field.\r\n"
                             "Format: name=value, Press 'q' to save and quit.\r\n\r\n";

TEST_F(prompts, store_no_serial_number_that_may_be_cut_off)
{
    type("ABCDEFGHJ1234");
    EXPECT_EQ(run(setsn_main, -1), "Please input serial number:" + unread);
    EXPECT_EQ(shown(), "");
}

TEST_F(prompts, store_no_address_that_may_be_cut_off)
{
    type("00d0f8a1b2c3");
    EXPECT_EQ(run(setmac_main, -1), "Please input mac addr:" + unread);
    EXPECT_EQ(shown(), "");
}

TEST_F(prompts, store_no_country_settings_where_the_last_may_be_cut_off)
{
    type("CN map-A map-B y");
    EXPECT_EQ(run(setcountry_main, -1),
              "Please input country def:Please input country map:Please input country map1:"
              "Please input country change:" +
                  unread);
    EXPECT_EQ(shown(), "");
}

TEST_F(prompts, take_no_record_that_may_be_cut_off)
{
    type("ProductModel=S1 ethaddr=00:D0:F8");
    EXPECT_EQ(run(setproduct_main, -1), greeting + unread);
    EXPECT_EQ(shown(), "ProductModel=S1\r\n");
}

TEST_F(prompts, take_no_q_that_may_be_cut_off)
{
    type("q");
    EXPECT_EQ(run(setproduct_main, -1), greeting + unread);
}

TEST_F(prompts, fail_where_nothing_has_come_and_more_may)
{
    EXPECT_EQ(run(setproduct_main, -1), greeting + unread);
}

TEST_F(prompts, take_a_word_that_the_end_of_input_ends)
{
    type("ProductModel=S1 ethaddr=00:D0:F8");
    end_input();
    EXPECT_EQ(run(setproduct_main, 0), greeting);
    EXPECT_EQ(shown(), "ProductModel=S1\r\nethaddr=00:D0:F8\r\n");
}

} // namespace
