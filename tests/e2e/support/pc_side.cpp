#include "pc_side.h"

#include <regex>
#include <stdexcept>
#include <thread>

namespace e2e {
namespace {

int count_of(std::string_view text, std::string_view all)
{
    int count = 0;
    for (auto at = all.find(text); at != all.npos; at = all.find(text, at + text.size())) {
        ++count;
    }
    return count;
}

} // namespace

frame damaged(frame sent)
{
    sent.value[0] = static_cast<char>(sent.value[0] ^ 0x01);
    return sent;
}

void sign_in(terminal_session &session, std::string_view sign)
{
    session.send(sign);
    session.expect(sign.substr(0, 1));
    session.send(version_1);
    session.expect(version_1);
}

void send_frame(terminal_session &session, const frame &payload, std::string_view sign)
{
    sign_in(session, sign);
    session.send(payload.length);
    session.send(payload.value);
}

std::string settled_log(const std::filesystem::path &file)
{
    const auto untimed = std::regex_replace(read_file(file), std::regex("time:[0-9]+"), "time:N");
    return std::regex_replace(untimed, std::regex("0x[0-9a-f]{6,}"), "P");
}

std::string unnumbered_log(const std::filesystem::path &file)
{
    return std::regex_replace(settled_log(file), std::regex(">:<[0-9]+>\\]"), ">:<N>]");
}

void wait_for_log(const std::filesystem::path &file, std::string_view text, int times)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!std::filesystem::exists(file) || count_of(text, read_file(file)) < times) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("\"" + readable(text) + "\" did not come into the log");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

} // namespace e2e
