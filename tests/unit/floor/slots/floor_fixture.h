#pragma once

#include <condition_variable>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <mutex>

#include <gtest/gtest.h>

#include "floor/slots/floor_control.h"
#include "unit/station/switch_model.h"

namespace floor_tests {

using shopfloor::answer;
using shopfloor::json;

/** Ports that a test plugs in and out. */
class fake_ports : public shopfloor::port_watch {
public:
    std::vector<shopfloor::serial_port> ports() override;
    std::string place_of(dev_t) override { return ""; }
    void call_on_change(std::function<void()> listener) override;
    void plug(const shopfloor::serial_port &port);
    void unplug(const std::string &place);
    /** Is called with each answer, before that is given. */
    void call_on_look(std::function<void()> listener);

private:
    void tell();

    std::mutex guard_;
    std::function<void()> looked_;
    std::vector<shopfloor::serial_port> ports_;
    std::function<void()> listener_;
};

/** A line to something that outlives it. */
class borrowed_line : public station::line {
public:
    explicit borrowed_line(station::line &of) : of_(of) {}
    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override
    {
        return of_.read(buffer, limit);
    }
    void write(std::span<const std::uint8_t> data, milliseconds limit) override
    {
        of_.write(data, limit);
    }
    void write_secret(std::span<const std::uint8_t> data, milliseconds limit) override
    {
        of_.write_secret(data, limit);
    }
    time_point now() const override { return of_.now(); }

private:
    station::line &of_;
};

/** A line that says nothing, in the time of this world. */
class silent_line : public station::line {
public:
    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t>, milliseconds) override {}
};

/**
 * A folder with a product, a ledger that has numbers for it, and a floor with the models of
 * switches in its slots; gone after the test.
 */
class floor_fixture : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::string path(const std::string &name) const { return (folder_ / name).string(); }
    void write(const std::string &name, const std::string &text) const;
    /** FLOOR.toml with so many slots; more stands at its end. */
    void describe(int slots, const std::string &more = "");
    /** The file of a floor with these slots. */
    std::string floor_text(const std::string &station, int first_slot, int last_slot) const;
    virtual std::string ledger_url() const { return "sqlite:" + path("line.db"); }
    ledger::ledger_place ledger_place() const { return {ledger_url()}; }
    ledger::book open_ledger() const { return ledger::book(ledger_place()); }

    /** Opens the floor, again where it was open. */
    shopfloor::floor_control &open();
    std::unique_ptr<shopfloor::floor_control> opened(const std::string &file);
    void close();

    /** A request whose answer is waited for later. */
    std::future<answer> asked(const std::function<void(shopfloor::reply)> &request);
    answer answer_of(std::future<answer> coming);
    answer ask(const std::function<void(shopfloor::reply)> &request);
    answer start(int slot, const std::string &label);
    answer start(const shopfloor::start_request &wanted);
    std::future<answer> asked_to_start(const shopfloor::start_request &wanted);
    /** Waits for news of the floors until it is so; false: in vain. */
    bool wait_until(const std::function<bool()> &is_so);
    /** The slot, once what is asked for is so. */
    json wait_for(int slot, const std::function<bool(const json &)> &is_so);
    json wait_for_end(int slot);
    json slot(int number) const;
    /** "verified PASS", "cancelled none" */
    static std::string words(const json &slot);
    static std::string code(const answer &of);

    std::map<int, switch_model> boards;                        // by the slots that they are in
    std::map<int, std::unique_ptr<station::line>> other_lines; // in the stead of those
    fake_ports ports;
    shopfloor::ledger_looks looks;
    std::unique_ptr<shopfloor::floor_control> floor;
    std::unique_ptr<shopfloor::floor_control> second_floor; // where a test has one, of other slots

private:
    shopfloor::floor_control &floor_of(int slot) const;

    std::filesystem::path folder_;
    std::mutex guard_;
    std::condition_variable news_;
    std::uint64_t news_told_ = 0; // guarded
};

} // namespace floor_tests
