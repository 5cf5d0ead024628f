#include "station/exchanges/exchange.h"
#include "unit/station/scripted_line.h"

using namespace station;
using namespace std::chrono_literals;

namespace {

/** Listens to a switch that has stored what was sent to it. */
class last_words : public testing::Test {
protected:
    scripted_line far;
    noting_listener observer;
    conversation talk{far, observer};

    void hear() { hear_last_words(talk, 1s, 10s); }
};

} // namespace

TEST_F(last_words, end_the_listening)
{
    far.shows("Save product info success.\r\r\n");
    hear();
    EXPECT_EQ(far.elapsed(), 0ms);
    EXPECT_EQ(observer.text, "Save product info success.\r\r\n");
}

TEST_F(last_words, end_the_listening_also_where_they_tell_a_failure)
{
    far.shows("Save product info failed.\r\r\n");
    hear();
    EXPECT_EQ(far.elapsed(), 0ms);
}

TEST_F(last_words, are_known_in_pieces_and_among_other_text)
{
    far.shows("[ 3.1] usb 1-1: new\r\nSave prod").answers({'u', 'c', 't', ' '}, 200ms);
    far.shows("info success.").answers({'\r'}, 300ms).answers({'\r', '\n'}, 1ms);
    hear();
    EXPECT_EQ(far.elapsed(), 500ms);
}

TEST_F(last_words, are_waited_for_until_the_line_is_quiet)
{
    far.answers({'a', 0x06}, 900ms).answers({'b'}, 900ms);
    hear();
    EXPECT_EQ(far.elapsed(), 2800ms);
    EXPECT_EQ(observer.text, "ab");
}

TEST_F(last_words, are_waited_for_no_longer_than_the_limit)
{
    for (int count = 0; count < 20; ++count) {
        far.answers({'a'}, 900ms);
    }
    hear();
    EXPECT_EQ(far.elapsed(), 10s);
}

TEST_F(last_words, are_remembered_though_much_is_said_behind_them)
{
    far.shows("Save product info success.\r" + std::string(480, '.'));
    talk.drain(60ms, 1s);
    hear();
    EXPECT_EQ(far.elapsed(), 60ms);
}

TEST_F(last_words, of_another_program_before_do_not_count)
{
    far.shows("Save product info success.\r\r\n");
    talk.drain(60ms, 1s);
    talk.forget_shown();
    hear();
    EXPECT_EQ(far.elapsed(), 1s);
}

TEST(conversation_send, gives_the_line_50_ms_for_each_byte_and_2_s)
{
    scripted_line far;
    noting_listener observer;
    conversation talk(far, observer);
    far.expects(bytes(100, 0x20));
    talk.send(bytes(100, 0x20));
    EXPECT_EQ(far.last_write_limit(), 7s);
}
