#include "station/lines/traced_line.h"

#include <algorithm>
#include <vector>

namespace station {

namespace {

constexpr std::size_t bytes_a_row = 16;
constexpr std::uint8_t hidden = '*';

char shown(std::uint8_t byte)
{
    return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
}

} // namespace

void traced_line::note(char direction, std::span<const std::uint8_t> data)
{
    const std::chrono::duration<double> elapsed = now() - start_;
    while (!data.empty()) {
        const auto row = data.first(std::min(bytes_a_row, data.size()));
        data = data.subspan(row.size());
        std::fprintf(out_, "%10.3f %c ", elapsed.count(), direction);
        for (const std::uint8_t byte : row) {
            std::fprintf(out_, " %02X", byte);
        }
        std::fprintf(out_, "%*s", static_cast<int>(3 * (bytes_a_row - row.size()) + 2), "");
        for (const std::uint8_t byte : row) {
            std::fputc(shown(byte), out_);
        }
        std::fputc('\n', out_);
    }
}

std::size_t traced_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    const std::size_t got = inner_.read(buffer, limit);
    note_read(buffer.first(got));
    return got;
}

void traced_line::note_read(std::span<const std::uint8_t> data)
{
    std::vector<std::uint8_t> shown(data.begin(), data.end());
    if (writes_to_hide_ > 0) {
        std::replace_if(
            shown.begin(), shown.end(),
            [](std::uint8_t byte) { return byte != '\r' && byte != '\n'; }, hidden);
    }
    note('<', shown);
}

void traced_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    writes_to_hide_ = std::max(writes_to_hide_ - 1, 0);
    note('>', data);
    inner_.write(data, limit);
}

void traced_line::write_secret(std::span<const std::uint8_t> data, milliseconds limit)
{
    note('>', std::vector<std::uint8_t>(data.size(), hidden));
    writes_to_hide_ = 2;
    inner_.write_secret(data, limit);
}

} // namespace station
