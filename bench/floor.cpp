// floor_bench FOLDER: what many slots at once cost beside one, on models of switches behind lines
// of 115200 baud, which wait and never poll. Prints rows of a table.

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "floor/ports/port_line.h"
#include "floor/server/server.h"
#include "floor/slots/floor_control.h"
#include "unit/floor/slots/model_product.h"
#include "unit/station/switch_model.h"

namespace {

using namespace std::chrono_literals;
using steady = std::chrono::steady_clock;
using shopfloor::floor_control;

constexpr std::chrono::nanoseconds a_byte_at_115200{86806};
constexpr auto waiting_looked_at = 10s;

/** The clock of this world keeps up with that of a model. */
class paced_model : public station::line {
public:
    paced_model()
    {
        model_.a_byte = a_byte_at_115200;
        model_.power_on();
    }

    /** As an adapter does, which hands on what has come every few milliseconds. */
    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        auto got = model_.read(buffer, limit);
        const auto deadline = model_.now() + 5ms;
        while (got > 0 && got < buffer.size() && model_.now() < deadline) {
            const auto left = std::chrono::ceil<milliseconds>(deadline - model_.now());
            got += model_.read(buffer.subspan(got), left);
        }
        keep_pace();
        return got;
    }

    void write(std::span<const std::uint8_t> data, milliseconds limit) override
    {
        model_.write(data, limit);
        keep_pace();
    }

    time_point now() const override { return model_.now(); }

private:
    void keep_pace() { std::this_thread::sleep_until(start_ + (model_.now() - begun_)); }

    switch_model model_;
    steady::time_point start_ = steady::now();
    time_point begun_ = model_.now();
};

/** A port on a pseudo-terminal, of which nothing comes. */
class silent_port : public station::line {
public:
    silent_port()
    {
        std::array<char, 64> name{};
        if (openpty(&far_, &near_, name.data(), nullptr, nullptr) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        port_ = std::make_unique<shopfloor::port_line>(name.data(), 115200);
    }
    ~silent_port() override
    {
        port_.reset();
        close(near_);
        close(far_);
    }
    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        return port_->read(buffer, limit);
    }
    void write(std::span<const std::uint8_t> data, milliseconds limit) override
    {
        port_->write(data, limit);
    }

private:
    int far_ = -1;
    int near_ = -1;
    std::unique_ptr<shopfloor::port_line> port_;
};

class no_ports : public shopfloor::port_watch {
public:
    std::vector<shopfloor::serial_port> ports() override { return {}; }
    void call_on_change(std::function<void()>) override {}
};

/** A folder with a product and a ledger. */
shopfloor::floor_description describe(const std::filesystem::path &folder, int slots)
{
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "product.toml") << floor_tests::model_product;
    std::ofstream(folder / "identity.toml") << floor_tests::model_job;
    shopfloor::floor_description floor;
    floor.name = "Line";
    floor.station = "line";
    floor.ledger = "sqlite:" + (folder / "line.db").string();
    ledger::book::init({floor.ledger});
    ledger::book in({floor.ledger});
    floor_tests::add_numbers(in, "SW");
    floor.products.push_back({.what = station::read_product((folder / "product.toml").string())});
    for (int number = 1; number <= slots; ++number) {
        floor.slots.push_back({.number = number, .exec = "a model", .products = {"SW"}});
    }
    return floor;
}

void start_all(floor_control &floor, int slots)
{
    for (int number = 1; number <= slots; ++number) {
        floor.start({.slot = number, .label = "L" + std::to_string(number)},
                    [](const shopfloor::answer &is) {
                        if (is.refused) {
                            std::fprintf(stderr, "refused: %s\n", is.refused->reason.c_str());
                            std::abort();
                        }
                    });
    }
}

/** Whether no slot is busy any more; all must then be verified. */
bool all_ended(const floor_control &floor)
{
    const auto state = floor.state();
    for (const auto &each : state["slots"]) {
        if (each["run"].is_null() || each["run"]["outcome"].is_null()) {
            return false;
        }
        if (each["run"]["outcome"] != "verified") {
            throw std::runtime_error("a slot failed: " + each.dump());
        }
    }
    return true;
}

/** Seconds from the first start to the last end. */
double batch(const std::filesystem::path &folder, int slots)
{
    no_ports ports;
    floor_control floor(describe(folder, slots), ports, "bench",
                        [](const auto &) { return std::make_unique<paced_model>(); });
    const auto begun = steady::now();
    start_all(floor, slots);
    while (!all_ended(floor)) {
        std::this_thread::sleep_for(10ms);
    }
    return std::chrono::duration<double>(steady::now() - begun).count();
}

double cpu_seconds()
{
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto of = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return of(used.ru_utime) + of(used.ru_stime);
}

/** The part of a core, in per cent, that slots take whose consoles stay silent. */
double waiting_load(const std::filesystem::path &folder, int slots)
{
    no_ports ports;
    floor_control floor(describe(folder, slots), ports, "bench",
                        [](const auto &) { return std::make_unique<silent_port>(); });
    start_all(floor, slots);
    std::this_thread::sleep_for(3s); // until all of them wait
    const auto before = cpu_seconds();
    std::this_thread::sleep_for(waiting_looked_at);
    return (cpu_seconds() - before) * 100 /
           std::chrono::duration<double>(waiting_looked_at).count();
}

/** A reader of the server's events, who notes how old those are that carry their time. */
class reader {
public:
    explicit reader(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in where{};
        where.sin_family = AF_INET;
        where.sin_port = htons(port);
        where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(socket_, reinterpret_cast<const sockaddr *>(&where), sizeof(where)) != 0) {
            throw std::runtime_error("the server does not listen");
        }
        const auto request =
            "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
        if (::write(socket_, request.data(), request.size()) < 0) {
            throw std::runtime_error("the server does not read");
        }
        thread_ = std::thread([this] { follow(); });
    }

    /** Ages in milliseconds. */
    std::vector<double> end()
    {
        shutdown(socket_, SHUT_RDWR);
        thread_.join();
        close(socket_);
        return ages_;
    }

    static std::string time_now()
    {
        return std::to_string(steady::now().time_since_epoch().count());
    }

private:
    void follow()
    {
        constexpr std::string_view mark = R"({"operator":")";
        std::string seen;
        std::array<char, 65536> part{};
        while (const auto count = ::read(socket_, part.data(), part.size())) {
            if (count < 0) {
                return;
            }
            const auto now = steady::now().time_since_epoch().count();
            seen.append(part.data(), static_cast<std::size_t>(count));
            for (auto at = seen.find(mark); at != std::string::npos; at = seen.find(mark)) {
                const auto end = seen.find('"', at + mark.size());
                if (end == std::string::npos) {
                    break;
                }
                const auto told = std::stoll(seen.substr(at + mark.size(), end));
                ages_.push_back(static_cast<double>(now - told) / 1e6);
                seen.erase(0, end);
            }
        }
    }

    int socket_;
    std::vector<double> ages_;
    std::thread thread_;
};

/** How old events are when a reader has them, while all slots work: the middle one and the worst.
 */
std::pair<double, double> way_of_events(const std::filesystem::path &folder, int slots)
{
    no_ports ports;
    floor_control floor(describe(folder, slots), ports, "bench",
                        [](const auto &) { return std::make_unique<paced_model>(); });
    shopfloor::server_settings settings;
    settings.port = 0;
    shopfloor::server server(floor, settings);
    server.start();
    reader following(server.port());
    start_all(floor, slots);
    while (!all_ended(floor)) {
        floor.change_operator(reader::time_now(), [](const auto &) {});
        std::this_thread::sleep_for(20ms);
    }
    server.stop();
    auto ages = following.end();
    if (ages.empty()) {
        throw std::runtime_error("no event has come");
    }
    std::ranges::sort(ages);
    return {ages[ages.size() / 2], ages.back()};
}

long peak_kib()
{
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
}

void measure(const std::filesystem::path &folder)
{
    const auto one = batch(folder, 1);
    for (const int slots : {8, 64}) {
        const auto many = batch(folder, slots);
        std::printf("| Batch of %d slots at 115200 baud, s | %.2f | one slot | %.2f | %.2f |\n",
                    slots, many, one, many / one);
    }
    std::printf("| Memory of the process up to here, MiB | %.1f | | | |\n",
                static_cast<double>(peak_kib()) / 1024);
    for (const int slots : {1, 8, 64}) {
        const auto [middle, worst] = way_of_events(folder, slots);
        std::printf("| An event's way to a reader, %d slots, ms: middle, worst | %.2f, %.2f | | | "
                    "|\n",
                    slots, middle, worst);
    }
    for (const int slots : {1, 8, 64}) {
        std::printf("| Load of a core while %d slots wait, per cent | %.2f | | | |\n", slots,
                    waiting_load(folder, slots));
    }
    std::printf("| Memory of the process at its peak, MiB | %.1f | | | |\n",
                static_cast<double>(peak_kib()) / 1024);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: floor_bench FOLDER\n");
        return 2;
    }
    try {
        measure(std::filesystem::path(argv[1]) / "floor");
    } catch (const std::exception &why) {
        std::fprintf(stderr, "floor_bench: %s\n", why.what());
        return 1;
    }
    return 0;
}
