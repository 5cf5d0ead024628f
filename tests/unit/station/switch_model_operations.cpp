#include <algorithm>
#include <cstdlib>
#include <utility>

#include "station/base/bytes.h"
#include "unit/station/switch_model.h"

using namespace std::chrono_literals;

namespace {

using station::bytes;
using nanoseconds = std::chrono::nanoseconds;

std::string_view byte_text(const char (&text)[2])
{
    return {text, 1};
}

std::uint32_t be32(std::span<const std::uint8_t> data)
{
    return std::uint32_t(data[0]) << 24 | std::uint32_t(data[1]) << 16 |
           std::uint32_t(data[2]) << 8 | data[3];
}

/** setmac and setsn: hand sign, version, length, value. */
class framed_operation : public model_operation {
public:
    framed_operation(switch_model &board, bool serial) : board_(board), serial_(serial)
    {
        if (!serial) {
            board_.say("Setmac Model setup ...\r\n");
        }
    }

    bool take(std::uint8_t byte, nanoseconds silence) override
    {
        if (!expire(silence)) {
            return false;
        }
        if (serial_ && !called_) {
            called_ = byte == '{';
            if (called_) {
                board_.say("}");
            }
            return true;
        }
        if (serial_ && state_ == state::hand_sign && got_.empty() && byte == '{') {
            return true;
        }
        got_.push_back(byte);
        switch (state_) {
        case state::hand_sign:
            return hand_sign();
        case state::version:
            return version(byte);
        case state::length:
            return length();
        default:
            return value();
        }
    }

    bool wait(nanoseconds silence) override
    {
        if (serial_ && !called_) {
            return silence < 100ms;
        }
        return expire(silence);
    }

private:
    enum class state { hand_sign, version, length, value };

    /** False where the operation ends with the attempt. */
    bool begin_again()
    {
        state_ = state::hand_sign;
        got_.clear();
        return !serial_;
    }

    bool expire(nanoseconds silence)
    {
        if (state_ == state::hand_sign && !got_.empty() && silence > 500ms) {
            return begin_again();
        }
        if (state_ == state::version && silence > 10s) {
            board_.say(byte_text("\x01"));
            return begin_again();
        }
        if (state_ == state::length && silence > 1s) {
            got_.clear();
        }
        if (state_ == state::value && silence > 50ms * std::int64_t(length_)) {
            board_.say(byte_text("\x14"));
            return begin_again();
        }
        return true;
    }

    bool hand_sign()
    {
        if (got_.front() == 0) {
            return false;
        }
        if (got_.front() != (serial_ ? 0x10 : 0x15)) {
            return begin_again();
        }
        if (got_.size() < 8) {
            return true;
        }
        if (station::crc32_mpeg2(got_) != 0) {
            return begin_again();
        }
        board_.say(serial_ ? byte_text("\x10") : byte_text("\x15"));
        state_ = state::version;
        got_.clear();
        return true;
    }

    bool version(std::uint8_t byte)
    {
        board_.say(byte_text("\x01"));
        if (byte != 1) {
            return begin_again();
        }
        state_ = state::length;
        got_.clear();
        return true;
    }

    bool length()
    {
        if (got_.size() < 4) {
            return true;
        }
        length_ = be32(got_);
        if (length_ > 131072) {
            board_.say(byte_text("\x14"));
            return begin_again();
        }
        state_ = state::value;
        got_.clear();
        return length_ > 0 || value();
    }

    bool value()
    {
        if (got_.size() < length_) {
            return true;
        }
        if (station::crc32_mpeg2(got_) != 0 || got_.size() < 4) {
            board_.say(byte_text("\x14"));
            return false;
        }
        got_.resize(got_.size() - 4);
        board_.say(byte_text("\x07"));
        if (serial_) {
            store_serial();
        } else {
            store_properties();
        }
        board_.say_after(300ms, byte_text("\x06"));
        return false;
    }

    void store_serial()
    {
        const std::string serial(got_.begin(), got_.end());
        board_.store("SerialNO", serial);
        board_.say(byte_text("\x06"));
        board_.say(std::string(1, static_cast<char>(serial.size())) + serial);
    }

    void store_properties()
    {
        board_.store("ProductInfo", "0B0EFACE");
        for (std::size_t at = 5; at < got_.size();) {
            const auto end = std::find(got_.begin() + std::ptrdiff_t(at), got_.end(), 0);
            const std::string name(got_.begin() + std::ptrdiff_t(at), end);
            at += name.size() + 1;
            const bool binary = got_[at] == 2;
            const auto size = be32(std::span(got_).subspan(at + 1));
            at += 5;
            const auto data = std::span(got_).subspan(at, size);
            at += size;
            const bool mac = binary && name == "MacAddress";
            board_.store(mac ? "ethaddr" : name, mac      ? station::to_hex(data, ":")
                                                 : binary ? station::to_hex(data, "")
                                                          : std::string(data.begin(), data.end()));
        }
    }

    switch_model &board_;
    bool serial_;
    bool called_ = false;
    state state_ = state::hand_sign;
    bytes got_;
    std::uint32_t length_ = 0;
};

/** setfansn and setbackplane: a list with a running sum. */
class list_operation : public model_operation {
public:
    list_operation(switch_model &board, bool fans) : board_(board), fans_(fans)
    {
        board_.say(fans ? "Disconnect your console terminal first\r\n Using your PC SetFanSn "
                          "program to perform SetFanSn Operation ......\r\n"
                        : "Disconnect your console terminal first ...\r\n");
    }

    bool take(std::uint8_t byte, nanoseconds silence) override
    {
        if (state_ == state::answered) {
            return acknowledged(byte);
        }
        if (state_ != state::start && silence > 500ms) {
            begin_again();
        }
        switch (state_) {
        case state::start:
            if (byte == start()) {
                board_.say(byte_text("\x06"));
                state_ = state::header;
            }
            return true;
        case state::header:
            state_ = byte == 1 ? state::head : state::start;
            return true;
        case state::head:
            return head(byte);
        default:
            return payload(byte);
        }
    }

    bool wait(nanoseconds silence) override { return state_ != state::answered || silence < 10s; }

private:
    enum class state { start, header, head, payload, answered };

    std::uint8_t start() const { return fans_ ? 0x20 : 0x15; }

    void begin_again()
    {
        state_ = state::start;
        head_.clear();
        got_.clear();
    }

    bool head(std::uint8_t byte)
    {
        head_.push_back(byte);
        if (fans_ && byte > 250) {
            board_.say("(");
            return false;
        }
        if (head_.size() == (fans_ ? 1U : 2U)) {
            state_ = state::payload;
        }
        return true;
    }

    bool payload(std::uint8_t byte)
    {
        if (got_.size() < head_.front()) {
            got_.push_back(byte);
            sum_ = static_cast<std::uint8_t>(sum_ + byte);
            return true;
        }
        if (byte != sum_) {
            const char again[] = {static_cast<char>(start()), 0};
            board_.say(again);
            begin_again();
            return true;
        }
        if (fans_) {
            board_.say_after(40ms, "\x06 ");
            state_ = state::answered;
            return true;
        }
        write_backplane();
        board_.say_after(200ms, byte_text("\x06"));
        return false;
    }

    bool acknowledged(std::uint8_t byte)
    {
        if (byte != 6) {
            return ++other_bytes_ < 20;
        }
        std::string answer = "\x01" + std::string(1, static_cast<char>(got_.size()));
        answer.append(got_.begin(), got_.end());
        answer += static_cast<char>(station::sum_of(got_));
        board_.say(answer);
        return false;
    }

    void write_backplane()
    {
        std::map<int, std::string> elements;
        std::size_t at = 0;
        for (int element = 0; element < head_[1] && at + 2 <= got_.size(); ++element) {
            const auto size = std::min<std::size_t>(got_[at + 1], got_.size() - at - 2);
            elements[got_[at]] = std::string(got_.begin() + std::ptrdiff_t(at + 2),
                                             got_.begin() + std::ptrdiff_t(at + 2 + size));
            at += size + 3;
        }
        const auto number = [&](int type) {
            return std::to_string(std::strtol(elements[type].c_str(), nullptr, 16) & 0xFF);
        };
        const auto mac = station::bytes_of_hex(elements[1]).value_or(bytes(6));
        const std::string lines[] = {
            "BP type " + number(3),        "BP version " + elements[4],
            "BP serial_no " + elements[2], "BP mac_addr " + station::to_hex(mac, ":"),
            "BP serial_0 " + number(5),    "BP serial_1 " + number(6),
            "BP serial_2 " + number(7),    "BP serial_3 " + number(8)};
        board_.backplane.clear();
        for (const auto &line : lines) {
            board_.backplane += line + "\n";
            if (!board_.log_path.empty()) {
                board_.files[board_.log_path] +=
                    "[SETMAC <set_backplane_info>:<150>] " + line + " .\r\r\n";
            }
        }
    }

    switch_model &board_;
    bool fans_;
    state state_ = state::start;
    bytes head_;
    bytes got_;
    std::uint8_t sum_ = 0;
    int other_bytes_ = 0; // in place of the acknowledgement
};

/** setdevice: any number of lists, until it is told that there are no more. */
class device_operation : public model_operation {
public:
    explicit device_operation(switch_model &board) : board_(board)
    {
        board_.say("Disconnect your console terminal first\r\n Using your PC Setmac program to "
                   "perform Set device info Operation ......\r\n");
    }

    bool take(std::uint8_t byte, nanoseconds silence) override
    {
        if (silence > 500ms) {
            receiving_ = false;
        }
        if (!receiving_) {
            return between_lists(byte);
        }
        got_.push_back(byte);
        const bool whole = got_.size() > before_list &&
                           got_.size() == before_list + be32(std::span(got_).subspan(1)) + 1;
        if (whole) {
            receiving_ = false;
            answer();
        }
        return true;
    }

private:
    static constexpr std::size_t before_list = 5; // the header and the length

    bool between_lists(std::uint8_t byte)
    {
        if (byte == 6 && !offered_.empty()) {
            board_.say(std::exchange(offered_, ""));
        } else if (byte == 0x20) {
            board_.say(byte_text("\x06"));
            receiving_ = true;
            got_.clear();
        }
        return byte != 3;
    }

    void answer()
    {
        if (lists_taken_ == board_.lists_of_devices_taken) {
            board_.say(byte_text("\x29"));
            return;
        }
        ++lists_taken_;
        offered_.assign(got_.begin(), got_.end());
        board_.say("\x06 ");
    }

    switch_model &board_;
    bool receiving_ = false;
    bytes got_;
    std::string offered_;
    std::size_t lists_taken_ = 0;
};

} // namespace

std::unique_ptr<model_operation> make_operation(const std::string &name, switch_model &board)
{
    if (name == "setmac" || name == "setsn") {
        return std::make_unique<framed_operation>(board, name == "setsn");
    }
    if (name == "setfansn" || name == "setbackplane") {
        return std::make_unique<list_operation>(board, name == "setfansn");
    }
    if (name == "setdevice") {
        return std::make_unique<device_operation>(board);
    }
    return nullptr;
}
