#include "sim/console/outer_line.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <pty.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace sim {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool is_for_later()
{
    return errno == EAGAIN || errno == EINTR;
}

void make_link(const fs::path &port, const fs::path &link)
{
    std::error_code error;
    if (fs::is_symlink(link)) {
        fs::remove(link, error);
    }
    fs::create_symlink(port, link, error);
    if (error) {
        throw std::system_error(error, link.string() + " cannot be made a link to the port");
    }
}

} // namespace

std::optional<std::string> outer_line::read() const
{
    std::array<char, 1024> part{};
    const ssize_t count = ::read(reading(), part.data(), part.size());
    if (count > 0) {
        return std::string(part.data(), static_cast<std::size_t>(count));
    }
    return count < 0 && is_for_later() ? std::optional<std::string>("") : std::nullopt;
}

std::optional<std::size_t> outer_line::write(std::string_view bytes) const
{
    const ssize_t count = ::write(writing(), bytes.data(), bytes.size());
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    return is_for_later() ? std::optional<std::size_t>(0) : std::nullopt;
}

standard_line::standard_line()
    : input_flags_(::fcntl(STDIN_FILENO, F_GETFL)), output_flags_(::fcntl(STDOUT_FILENO, F_GETFL))
{
    termios settings{};
    if (::tcgetattr(STDIN_FILENO, &settings) == 0) {
        settings_ = settings;
        ::cfmakeraw(&settings);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    }
    ::fcntl(STDIN_FILENO, F_SETFL, input_flags_ | O_NONBLOCK);
    ::fcntl(STDOUT_FILENO, F_SETFL, output_flags_ | O_NONBLOCK);
}

standard_line::~standard_line()
{
    ::fcntl(STDOUT_FILENO, F_SETFL, output_flags_);
    ::fcntl(STDIN_FILENO, F_SETFL, input_flags_);
    if (settings_) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &*settings_);
    }
}

int standard_line::reading() const
{
    return STDIN_FILENO;
}

int standard_line::writing() const
{
    return STDOUT_FILENO;
}

port_line::port_line(fs::path link)
{
    termios raw{};
    ::cfmakeraw(&raw);
    raw.c_cflag |= CREAD;
    std::array<char, 64> name{};
    if (::openpty(&here_, &there_, name.data(), &raw, nullptr) != 0) {
        fail("no pseudo-terminal to be had");
    }
    port_ = name.data();
    for (const int end : {here_, there_}) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    ::fcntl(here_, F_SETFL, O_NONBLOCK);
    watch_ = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (watch_ < 0 || ::inotify_add_watch(watch_, name.data(), IN_OPEN | IN_CLOSE) < 0) {
        fail(port_ + " cannot be watched");
    }
    if (!link.empty()) {
        make_link(port_, link);
        link_ = std::move(link);
    }
}

port_line::~port_line()
{
    std::error_code ignored;
    if (!link_.empty() && fs::read_symlink(link_, ignored) == port_) {
        fs::remove(link_, ignored);
    }
    for (const int end : {watch_, there_, here_}) {
        ::close(end);
    }
}

void port_line::look()
{
    alignas(inotify_event) std::array<char, 4096> events{};
    const ssize_t size = ::read(watch_, events.data(), events.size());
    for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= size;) {
        inotify_event one{};
        std::memcpy(&one, events.data() + at, sizeof one);
        users_ += (one.mask & IN_OPEN) != 0 ? 1 : 0;
        if ((one.mask & IN_CLOSE) != 0 && --users_ == 0) {
            // What the last user has not read is not for the next one.
            ::tcflush(there_, TCIFLUSH);
        }
        at += static_cast<ssize_t>(sizeof one) + one.len;
    }
}

} // namespace sim
