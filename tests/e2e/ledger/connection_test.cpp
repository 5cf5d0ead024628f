#include <filesystem>

#include "e2e/ledger/postgres_proxy.h"
#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

class connection : public ledger_test {
protected:
    std::string identity_of(const std::string &label) const
    {
        auto in = open();
        return text_of(reserved(in, label));
    }
};
INSTANTIATE_TEST_SUITE_P(postgres, connection, testing::Values("postgres"));

TEST_P(connection, cut_at_any_message_leaves_the_label_its_identity)
{
    {
        auto in = open();
        add_office(in);
    }
    std::filesystem::create_directory(path("p"));
    postgres_proxy proxy(postgres_server::only().folder(), path("p"));
    auto cut_off = place;
    cut_off.url = proxy.through(place.url);
    int messages = 0;
    {
        book in(cut_off);
        proxy.cut_at(0, postgres_proxy::moment::before);
        reserved(in, "COUNTED");
        messages = proxy.messages();
    }
    ASSERT_GT(messages, 20);
    int answered = 0;
    for (const auto when : {postgres_proxy::moment::before, postgres_proxy::moment::after}) {
        for (int message = 1; message <= messages; ++message) {
            const auto label = (when == postgres_proxy::moment::before ? "before " : "after ") +
                               std::to_string(message);
            SCOPED_TRACE(label);
            std::string given;
            const auto why = error_of([&] {
                book in(cut_off);
                proxy.cut_at(message, when);
                given = text_of(reserved(in, label));
            });
            EXPECT_NE(why.empty(), given.empty()) << why;
            answered += given.empty() ? 0 : 1;
            const auto is = identity_of(label);
            EXPECT_TRUE(given.empty() || given == is) << given << " and then " << is;
        }
    }
    // Lost before COMMIT, it is done again; lost at it, it is looked up.
    EXPECT_GT(answered, messages);
    auto in = open();
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(connection, lost_at_commit_is_answered_by_a_look)
{
    {
        auto in = open();
        add_office(in);
    }
    std::filesystem::create_directory(path("p"));
    postgres_proxy proxy(postgres_server::only().folder(), path("p"));
    auto cut_off = place;
    cut_off.url = proxy.through(place.url);
    int commit = 0; // the last message of a reservation
    {
        book in(cut_off);
        proxy.cut_at(0, postgres_proxy::moment::before);
        reserved(in, "A");
        commit = proxy.messages();
    }
    {
        book in(cut_off);
        proxy.cut_at(commit, postgres_proxy::moment::after);
        EXPECT_EQ(text_of(reserved(in, "B")), "B ABCD264700002 00:1A:2B:00:00:40/64 reserved");
        EXPECT_EQ(in.check().units, 2);
    }
    book another(cut_off);
    proxy.cut_at(commit, postgres_proxy::moment::before);
    const auto why = error_of([&] { reserved(another, "C"); });
    EXPECT_TRUE(why.starts_with("unusable: nothing was changed: ")) << why;
    EXPECT_FALSE(another.find("C"));
    EXPECT_EQ(text_of(reserved(another, "C")), "C ABCD264700003 00:1A:2B:00:00:80/64 reserved");
}

TEST_P(connection, to_a_server_that_was_stopped_at_once_is_made_again)
{
    auto in = open();
    add_office(in);
    const auto a = text_of(reserved(in, "A"));
    postgres_server::only().restart();
    EXPECT_EQ(text_of(reserved(in, "A")), a);
    EXPECT_EQ(text_of(reserved(in, "B")), "B ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(connection, that_falls_silent_is_given_up_in_time_and_leaves_the_label_its_identity)
{
    {
        auto in = open();
        add_office(in);
    }
    std::filesystem::create_directory(path("p"));
    postgres_proxy proxy(postgres_server::only().folder(), path("p"));
    auto silenced = place;
    silenced.url = proxy.through(place.url);
    silenced.silence = std::chrono::milliseconds(500);
    int commit = 0;
    {
        book in(silenced);
        proxy.cut_at(0, postgres_proxy::moment::before);
        reserved(in, "A");
        commit = proxy.messages();
    }
    {
        // The server has committed: the look finds it.
        book in(silenced);
        proxy.cut_at(commit, postgres_proxy::moment::silent_after);
        EXPECT_EQ(text_of(reserved(in, "B")), "B ABCD264700002 00:1A:2B:00:00:40/64 reserved");
    }
    {
        // The server still has the transaction, and with it the lock that a look waits for.
        book in(silenced);
        proxy.cut_at(commit, postgres_proxy::moment::silent_before);
        const auto start = std::chrono::steady_clock::now();
        const auto why = error_of([&] { reserved(in, "C"); });
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
        EXPECT_TRUE(why.starts_with("in doubt: ")) << why;
        EXPECT_NE(why.find("has said nothing for"), std::string::npos) << why;
    }
    proxy.let_go();
    EXPECT_EQ(identity_of("C"), "C ABCD264700003 00:1A:2B:00:00:80/64 reserved");
    {
        // In the middle of a transaction there is no doubt: it is tried again, in vain here.
        book in(silenced);
        proxy.cut_at(commit - 3, postgres_proxy::moment::silent_after);
        const auto why = error_of([&] { reserved(in, "D"); });
        EXPECT_TRUE(why.starts_with("unusable: ")) << why;
    }
    proxy.let_go();
    EXPECT_EQ(identity_of("D"), "D ABCD264700004 00:1A:2B:00:00:C0/64 reserved");
    auto in = open();
    EXPECT_EQ(findings_of(in), "");
}

} // namespace
