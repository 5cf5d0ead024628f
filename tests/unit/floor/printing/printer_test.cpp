#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "floor/printing/printer.h"

namespace {

using shopfloor::print_error;

/** How printing failed; nothing where it did not. */
std::string failure_of(shopfloor::printer &to, const std::string &text)
{
    try {
        to.print(text);
        return "";
    } catch (const print_error &why) {
        return why.what();
    }
}

/** Listens on a port of this machine that was free. */
class small_printer {
public:
    small_printer() : socket_(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        listen(socket_, 1);
        socklen_t size = sizeof address;
        getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &size);
        port_ = std::to_string(ntohs(address.sin_port));
    }
    ~small_printer() { close(socket_); }

    const std::string &port() const { return port_; }
    /** All that one connection brings. */
    std::string take() const
    {
        const int from = accept(socket_, nullptr, nullptr);
        std::string all;
        char part[4096];
        for (ssize_t got = 0; (got = read(from, part, sizeof part)) > 0;) {
            all.append(part, static_cast<std::size_t>(got));
        }
        close(from);
        return all;
    }

private:
    int socket_;
    std::string port_;
};

TEST(network_printer, sends_a_label_over_a_connection_of_its_own)
{
    const small_printer there;
    const auto to = shopfloor::network_printer("127.0.0.1", there.port());
    const std::string large(300000, 'x');
    for (const auto &text : {std::string("^XA^XZ"), large}) {
        auto taken = std::async(std::launch::async, [&] { return there.take(); });
        EXPECT_EQ(failure_of(*to, text), "");
        EXPECT_EQ(taken.get(), text);
    }
}

TEST(network_printer, that_is_off_is_told)
{
    std::string port;
    {
        port = small_printer().port();
    }
    const auto to = shopfloor::network_printer("127.0.0.1", port);
    EXPECT_EQ(failure_of(*to, "^XA^XZ"),
              "the printer at 127.0.0.1:" + port + " cannot be reached: Connection refused");
}

TEST(command_printer, gets_the_label_on_its_standard_input)
{
    const auto file =
        std::filesystem::path(testing::TempDir()) / ("label_" + std::to_string(getpid()));
    const auto to = shopfloor::command_printer("cat > " + file.string());
    EXPECT_EQ(failure_of(*to, "^XA\n^XZ\n"), "");
    std::ifstream in(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "^XA\n^XZ\n");
    std::filesystem::remove(file);
}

TEST(command_printer, has_nothing_open_of_what_the_server_has)
{
    const int connection = socket(AF_INET, SOCK_STREAM, 0); // as some libraries open them
    ASSERT_GT(connection, STDERR_FILENO);
    const auto to =
        shopfloor::command_printer("test ! -e /proc/$$/fd/" + std::to_string(connection));
    EXPECT_EQ(failure_of(*to, "x"), "");
    close(connection);
}

TEST(command_printer, is_ended_by_signals_that_the_server_keeps_from_itself)
{
    sigset_t kept;
    sigset_t before;
    sigemptyset(&kept);
    sigaddset(&kept, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &kept, &before);
    auto *const told = std::signal(SIGPIPE, SIG_IGN);
    for (const auto *name : {"TERM", "PIPE"}) {
        const auto to = shopfloor::command_printer("kill -" + std::string(name) + " $$");
        EXPECT_NE(failure_of(*to, "x"), "") << name;
    }
    std::signal(SIGPIPE, told);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(command_printer, that_does_not_end_with_0_has_failed)
{
    const auto to = shopfloor::command_printer("exit 3");
    EXPECT_EQ(failure_of(*to, "x"), "the command of the printer ended with exit status 3");
}

} // namespace
