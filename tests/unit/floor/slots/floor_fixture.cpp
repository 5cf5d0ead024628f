#include "unit/floor/slots/floor_fixture.h"

#include <fstream>
#include <thread>

#include "unit/floor/slots/model_product.h"

namespace floor_tests {

namespace {

using namespace std::chrono_literals;

// A machine that is ten times slower, and busy, passes it all the same.
constexpr auto patience = 120s;

json slot_in(const json &state, int number)
{
    for (const auto &each : state["slots"]) {
        if (each["slot"] == number) {
            return each;
        }
    }
    return nullptr;
}

} // namespace

std::vector<shopfloor::serial_port> fake_ports::ports()
{
    std::function<void()> looked;
    std::vector<shopfloor::serial_port> seen;
    {
        const std::lock_guard lock(guard_);
        looked = looked_;
        seen = ports_;
    }
    if (looked) {
        looked();
    }
    return seen;
}

void fake_ports::call_on_look(std::function<void()> listener)
{
    const std::lock_guard lock(guard_);
    looked_ = std::move(listener);
}

void fake_ports::call_on_change(std::function<void()> listener)
{
    const std::lock_guard lock(guard_);
    listener_ = std::move(listener);
}

void fake_ports::plug(const shopfloor::serial_port &port)
{
    {
        const std::lock_guard lock(guard_);
        ports_.push_back(port);
    }
    tell();
}

void fake_ports::unplug(const std::string &place)
{
    {
        const std::lock_guard lock(guard_);
        std::erase_if(ports_, [&](const auto &each) { return each.place == place; });
    }
    tell();
}

void fake_ports::tell()
{
    std::function<void()> listener;
    {
        const std::lock_guard lock(guard_);
        listener = listener_;
    }
    if (listener) {
        listener();
    }
}

std::size_t silent_line::read(std::span<std::uint8_t>, milliseconds limit)
{
    std::this_thread::sleep_for(limit);
    return 0;
}

void floor_fixture::SetUp()
{
    const auto *test = testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::path(testing::TempDir()) /
              (std::string("floor_") + test->test_suite_name() + "_" + test->name());
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    write("product.toml", model_product);
    write("identity.toml", model_job);
    ledger::book::init(ledger_place());
    auto in = open_ledger();
    add_numbers(in, "SW");
}

void floor_fixture::TearDown()
{
    close();
    std::filesystem::remove_all(folder_);
}

void floor_fixture::write(const std::string &name, const std::string &text) const
{
    std::ofstream(path(name), std::ios::binary) << text;
}

std::string floor_fixture::floor_text(const std::string &station, int first_slot,
                                      int last_slot) const
{
    std::string text = "[floor]\nname = \"Line 3\"\nstation = \"" + station +
                       "\"\n"
                       "[ledger]\nurl = \"" +
                       ledger_url() +
                       "\"\n"
                       "[[product]]\nfile = \"product.toml\"\n";
    for (int number = first_slot; number <= last_slot; ++number) {
        text += "[[slot]]\nnumber = " + std::to_string(number) + "\nexec = \"a model\"\n";
    }
    return text;
}

void floor_fixture::describe(int slots, const std::string &more)
{
    write("FLOOR.toml", floor_text("line3", 1, slots) + more);
}

shopfloor::floor_control &floor_fixture::open()
{
    close();
    floor = opened("FLOOR.toml");
    return *floor;
}

void floor_fixture::close()
{
    floor.reset();
    second_floor.reset();
}

std::unique_ptr<shopfloor::floor_control> floor_fixture::opened(const std::string &file)
{
    const auto line_of = [this](const shopfloor::floor_slot &slot) {
        const auto other = other_lines.find(slot.number);
        return std::make_unique<borrowed_line>(
            other != other_lines.end() ? *other->second
                                       : static_cast<station::line &>(boards.at(slot.number)));
    };
    const auto described = shopfloor::read_floor(path(file));
    for (const auto &each : described.slots) {
        boards.try_emplace(each.number);
    }
    auto made =
        std::make_unique<shopfloor::floor_control>(described, ports, "0.1.0", line_of, looks);
    made->events().call_on_news([this] {
        const std::lock_guard lock(guard_);
        ++news_told_;
        news_.notify_all();
    });
    return made;
}

std::future<answer> floor_fixture::asked(const std::function<void(shopfloor::reply)> &request)
{
    const auto told = std::make_shared<std::promise<answer>>();
    auto coming = told->get_future();
    request([told](answer of) { told->set_value(std::move(of)); });
    return coming;
}

answer floor_fixture::answer_of(std::future<answer> coming)
{
    if (coming.wait_for(patience) != std::future_status::ready) {
        ADD_FAILURE() << "no answer";
        return {};
    }
    return coming.get();
}

answer floor_fixture::ask(const std::function<void(shopfloor::reply)> &request)
{
    return answer_of(asked(request));
}

answer floor_fixture::start(int slot, const std::string &label)
{
    return start({.slot = slot, .label = label});
}

answer floor_fixture::start(const shopfloor::start_request &wanted)
{
    return answer_of(asked_to_start(wanted));
}

std::future<answer> floor_fixture::asked_to_start(const shopfloor::start_request &wanted)
{
    return asked([&](shopfloor::reply to) { floor_of(wanted.slot).start(wanted, std::move(to)); });
}

shopfloor::floor_control &floor_fixture::floor_of(int slot) const
{
    const bool in_second = second_floor && !slot_in(second_floor->state(), slot).is_null();
    return in_second ? *second_floor : *floor;
}

json floor_fixture::slot(int number) const
{
    return slot_in(floor_of(number).state(), number);
}

bool floor_fixture::wait_until(const std::function<bool()> &is_so)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::unique_lock lock(guard_);
    bool in_time = true;
    while (in_time) {
        // The news of a change may have been told before it is waited for.
        const auto seen = news_told_;
        lock.unlock();
        if (is_so()) {
            return true;
        }
        lock.lock();
        in_time = news_.wait_until(lock, deadline, [&] { return news_told_ != seen; });
    }
    return false;
}

json floor_fixture::wait_for(int number, const std::function<bool(const json &)> &is_so)
{
    json now;
    const bool came = wait_until([&] {
        now = slot(number);
        return is_so(now);
    });
    EXPECT_TRUE(came) << "did not come: " << now.dump(2);
    return now;
}

json floor_fixture::wait_for_end(int number)
{
    return wait_for(number, [](const json &slot) {
        return slot["state"] == "ended" || slot["state"] == "unplugged";
    });
}

std::string floor_fixture::words(const json &slot)
{
    const auto &run = slot["run"];
    if (run.is_null() || run["outcome"].is_null()) {
        return slot["state"].get<std::string>();
    }
    const auto verdict = run["verdict"].is_null() ? "none" : run["verdict"].get<std::string>();
    return run["outcome"].get<std::string>() + " " + verdict;
}

std::string floor_fixture::code(const answer &of)
{
    return of.refused ? of.refused->code : "none";
}

} // namespace floor_tests
