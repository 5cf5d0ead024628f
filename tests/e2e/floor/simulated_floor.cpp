#include "e2e/floor/simulated_floor.h"

#include <condition_variable>
#include <future>
#include <mutex>
#include <sstream>

#include <gtest/gtest.h>

#include "e2e/support/program.h"
#include "floor/model/floor_file.h"
#include "unit/floor/slots/model_product.h"

namespace e2e {

namespace {

void expect_well(const command_line &command)
{
    const auto done = run(command, {});
    EXPECT_EQ(done.status, 0) << done;
}

std::string value_of(const std::string &listing, const std::string &name)
{
    std::istringstream in(listing);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(name + "=")) {
            const auto value = line.substr(name.size() + 1);
            return value.substr(0, value.find('\r'));
        }
    }
    return "";
}

bool is_busy(const shopfloor::json &slot)
{
    return slot["state"] == "preparing" || slot["state"] == "running";
}

} // namespace

simulated_floor::simulated_floor(int slots) : slots_(slots)
{
    const ledger::ledger_place place{"sqlite:" + path("line.db")};
    ledger::book::init(place);
    ledger::book in(place);
    floor_tests::add_numbers(in, "SW-48X6Q");
    expect_well({"simboard", "new", path("new-board")});
    for (int slot = 1; slot <= slots; ++slot) {
        exchange_board(slot);
    }
}

std::string simulated_floor::label(int slot) const
{
    return "L" + std::to_string(slot) + "-" + std::to_string(boards_.at(slot));
}

void simulated_floor::exchange_board(int slot)
{
    ++boards_[slot];
    labels_.push_back(label(slot));
    std::filesystem::copy(path("new-board"), board(label(slot)));
}

void simulated_floor::write_floor() const
{
    std::string text = "[floor]\nname = \"Line\"\nstation = \"line\"\n"
                       "[ledger]\nurl = \"sqlite:line.db\"\n"
                       "[[product]]\nfile = \"" E2E_PRODUCTS "/sw-48x6q/product.toml\"\n";
    for (int slot = 1; slot <= slots_; ++slot) {
        const auto folder = board(label(slot));
        const auto more = options_.find(slot);
        const auto other = programs_.find(slot);
        // A switch has one console: the next floor's waits for the end of this one's.
        const auto console = "exec flock " + folder + ".lock " + program_file("simboard") +
                             " console " + folder + " --set boot_ms=100 " +
                             (more == options_.end() ? "" : more->second);
        text += "[[slot]]\nnumber = " + std::to_string(slot) + "\nexec = '" +
                (other == programs_.end() ? console : other->second) + "'\n";
    }
    write_file(scratch_.path() / "FLOOR.toml", text);
}

std::unique_ptr<shopfloor::floor_control> simulated_floor::open()
{
    write_floor();
    return std::make_unique<shopfloor::floor_control>(shopfloor::read_floor(path("FLOOR.toml")),
                                                      ports_, "0.1.0");
}

void simulated_floor::await_consoles() const
{
    for (int slot = 1; slot <= slots_; ++slot) {
        expect_well({"/usr/bin/flock", "--timeout", "60", board(label(slot)) + ".lock", "true"});
    }
}

std::map<std::string, held_identity> simulated_floor::held() const
{
    std::map<std::string, held_identity> all;
    for (const auto &each : labels_) {
        const auto listing =
            run({"simboard", "run", board(each), "--", program_file("prodinfo")}, {}).output;
        all[each] = {value_of(listing, "SerialNO"), value_of(listing, "ethaddr")};
    }
    return all;
}

shopfloor::json slot_of(const shopfloor::floor_control &floor, int number)
{
    const auto state = floor.state();
    for (const auto &each : state["slots"]) {
        if (each["slot"] == number) {
            return each;
        }
    }
    return nullptr;
}

std::vector<std::int64_t> start_all(shopfloor::floor_control &floor, const simulated_floor &of)
{
    std::vector<std::future<std::int64_t>> begun;
    for (int slot = 1; slot <= of.slots(); ++slot) {
        const auto told = std::make_shared<std::promise<std::int64_t>>();
        begun.push_back(told->get_future());
        floor.start({.slot = slot, .label = of.label(slot)}, [told](const shopfloor::answer &is) {
            told->set_value(is.refused ? 0 : is.content["run"]["attempt"].get<std::int64_t>());
        });
    }
    std::vector<std::int64_t> attempts;
    for (auto &each : begun) {
        attempts.push_back(each.get());
    }
    return attempts;
}

void await_ends(shopfloor::floor_control &floor, const std::vector<int> &slots)
{
    std::mutex guard;
    std::condition_variable news;
    floor.events().call_on_news([&] {
        const std::lock_guard lock(guard);
        news.notify_all();
    });
    const auto deadline = std::chrono::steady_clock::now() + 2 * patience;
    for (const int slot : slots) {
        std::unique_lock lock(guard);
        while (true) {
            const auto seen = floor.events().last();
            lock.unlock();
            const bool busy = is_busy(slot_of(floor, slot));
            lock.lock();
            const auto has_news = [&] { return floor.events().last() != seen; };
            if (!busy || !news.wait_until(lock, deadline, has_news)) {
                EXPECT_FALSE(busy) << "slot " << slot << " does not end";
                break;
            }
        }
    }
    floor.events().call_on_news({});
}

} // namespace e2e
