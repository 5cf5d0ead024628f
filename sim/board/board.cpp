#include "sim/board/board.h"

#include "sim/base/clock.h"
#include "sim/board/system_calls.h"
#include "sim/parts/bridge_chips.h"
#include "sim/parts/driver_units.h"
#include "sim/parts/eeprom_chip.h"
#include "sim/parts/fpga_device.h"
#include "sim/parts/i2c_bus.h"
#include "sim/parts/registers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace sim {
namespace {

board *the_board = nullptr;

constexpr std::size_t i2c_addresses = 128;

/**
 * Appends a line. The file is opened for each: a program that closes all descriptors, or looks at
 * the number of its next one, must not meet ours.
 */
void append_line(const std::filesystem::path &file, const std::string &line)
{
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) {
        return;
    }
    const std::string text = line + "\n";
    // One write keeps lines of several processes apart. A log that cannot be written is no reason
    // to stop the program.
    [[maybe_unused]] const ssize_t written = ::write(fd, text.data(), text.size());
    ::close(fd);
}

} // namespace

board::board(board_description description, std::filesystem::path folder)
    : description_(std::move(description)), folder_(std::move(folder))
{
    if (const auto wrong = find_mistake(description_)) {
        throw std::invalid_argument(wrong->text);
    }
    if (the_board != nullptr) {
        throw std::logic_error("a process has one board at a time");
    }
    fit_flash();
    fit_cpld();
    fit_i2c();
    fit_fpga();
    for (const fault &one : description_.faults) {
        faults_.add(one);
    }
    supply_.cut_after(description_.cut_after);
    supply_.when_cut([this] { power_failed(); });
    the_board = this;
}

board::~board()
{
    forget_open_files();
    the_board = nullptr;
}

board *board::current()
{
    return the_board;
}

std::unique_ptr<memory> board::make_memory(const std::string &name, std::size_t size,
                                           std::vector<uint8_t> content) const
{
    if (folder_.empty()) {
        return std::make_unique<memory>(size, std::move(content));
    }
    return std::make_unique<memory>(folder_ / name, size, std::move(content));
}

void board::fit(std::unique_ptr<device> node)
{
    auto &place = nodes_[node->path()];
    place = std::move(node);
}

void board::fit_flash()
{
    const std::vector<int> indexes = indexes_of(description_.partitions);
    for (std::size_t i = 0; i < indexes.size(); ++i) {
        const partition &what = description_.partitions[i];
        const int index = indexes[i];
        const std::size_t size = std::size_t{what.erase_size} * what.blocks;
        auto &chip = flashes_[index];
        chip = std::make_unique<flash_memory>(
            what, make_memory("mtd" + std::to_string(index) + ".bin", size, {}), supply_);
        fit(std::make_unique<mtd_device>(index, *chip));
        for (auto &text : mtd_texts(index, what)) {
            fit(std::move(text));
        }
    }
}

void board::fit_cpld()
{
    if (!description_.cpld) {
        return;
    }
    std::vector<uint8_t> start(cpld_size, 0xFF);
    for (const auto &[number, value] : description_.cpld->registers) {
        start[number] = value;
    }
    auto node = std::make_unique<register_device>(
        "/dev/cpld0", make_memory("cpld0.bin", cpld_size, std::move(start)));
    cpld_ = node.get();
    fit(std::move(node));
}

bool board::protects(const sim::eeprom &what) const
{
    if (!what.is_protected()) {
        return false;
    }
    if (what.lifted_by_driver && driver_state_->bytes()[0] == 0) {
        return false;
    }
    return std::ranges::none_of(what.lifted_by_cpld, [&](const auto &way) {
        const auto &[number, values] = way;
        return std::ranges::find(values, cpld_->bytes()[number]) != values.end();
    });
}

void board::fit_i2c()
{
    auto bus = std::make_unique<i2c_bus>(description_.i2c_bus);
    constexpr std::size_t cycles_size = i2c_addresses * sizeof(int64_t);
    write_cycles_ = make_memory("i2c-busy.bin", cycles_size, std::vector<uint8_t>(cycles_size, 0));
    driver_state_ = make_memory("driver.bin", 1, {1});
    for (const auto &what : description_.eeproms) {
        const std::string file = "i2c-" + hex(what.address).substr(2) + ".bin";
        auto chip = std::make_unique<eeprom_chip>(
            what, make_memory(file, eeprom_size, what.content),
            write_cycles_->bytes().subspan(what.address * sizeof(int64_t), sizeof(int64_t)),
            supply_, [this, &what] { return protects(what); });
        eeproms_.emplace(what.address, chip.get());
        bus->fit(std::move(chip));
    }
    fit(std::move(bus));
}

void board::fit_fpga()
{
    const memory_maker make = [this](const std::string &name, std::size_t size,
                                     std::vector<uint8_t> content) {
        return make_memory(name, size, std::move(content));
    };
    units_ = std::make_unique<driver_units>(description_, make, supply_);
    if (!description_.fpga) {
        return;
    }
    auto node = std::make_unique<fpga_device>(*description_.fpga, make, supply_,
                                              [this](operation what) { note(std::move(what)); });
    fpga_ = node.get();
    fit(std::move(node));
}

flash_memory &board::flash(int index)
{
    return *flashes_.at(index);
}

std::span<uint8_t> board::eeprom(uint8_t address)
{
    return eeproms_.at(address)->bytes();
}

bool board::is_protected(uint8_t address) const
{
    return eeproms_.at(address)->is_protected();
}

std::span<uint8_t> board::cpld()
{
    if (cpld_ == nullptr) {
        throw std::out_of_range("no CPLD is fitted");
    }
    return cpld_->bytes();
}

fpga_device &board::fitted_fpga() const
{
    if (fpga_ == nullptr) {
        throw std::out_of_range("no FPGA is fitted");
    }
    return *fpga_;
}

std::span<uint8_t> board::fpga()
{
    return fitted_fpga().bytes();
}

std::span<uint8_t> board::bridge_eeprom(uint8_t bus, uint8_t channel, uint8_t address)
{
    return fitted_fpga().eeprom({bus, channel, address}).bytes();
}

bool board::is_protected(uint8_t bus, uint8_t channel, uint8_t address) const
{
    return fitted_fpga().eeprom({bus, channel, address}).is_protected();
}

sim::bridge_supply board::bridge_supply(uint8_t channel, uint8_t address) const
{
    supply_chip &chip = fitted_fpga().supply({supply_bus, channel, address});
    return {.channel = channel,
            .address = address,
            .serial = chip.serial(),
            .revision = chip.revision()};
}

fan_unit board::fan(int32_t index) const
{
    return units_->fan(index);
}

supply_unit board::supply(int32_t index) const
{
    return units_->supply(index);
}

card_unit board::card(int32_t index) const
{
    return units_->card(index);
}

std::span<uint8_t> board::backplane(int32_t index)
{
    return units_->backplane(index);
}

void board::protect_by_driver(bool on)
{
    driver_state_->bytes()[0] = on ? 1 : 0;
}

void board::inject(fault what)
{
    if (const auto text = find_mistake(what)) {
        throw std::invalid_argument(*text);
    }
    faults_.add(std::move(what));
}

void board::trouble(const bridge_trouble &what)
{
    if (const auto text = find_mistake(what)) {
        throw std::invalid_argument(*text);
    }
    fitted_fpga().add(what);
}

void board::clear_faults()
{
    faults_.clear();
}

void board::cut_after(std::optional<uint64_t> steps)
{
    supply_.cut_after(steps);
}

std::size_t board::count(std::string_view name, std::string_view path) const
{
    return static_cast<std::size_t>(std::ranges::count_if(log_, [&](const operation &one) {
        return one.name == name && (path.empty() || one.path == path);
    }));
}

device *board::find(std::string_view path) const
{
    const auto found = nodes_.find(path);
    return found != nodes_.end() ? found->second.get() : nullptr;
}

std::vector<std::string> board::list(std::string_view folder) const
{
    const std::string prefix = std::string(folder) + "/";
    std::vector<std::string> names;
    for (const auto &[path, node] : nodes_) {
        if (!path.starts_with(prefix)) {
            continue;
        }
        std::string name =
            path.substr(prefix.size(), path.find('/', prefix.size()) - prefix.size());
        if (names.empty() || names.back() != name) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

int64_t board::attempt(operation &what, call_kind kind, const action &act)
{
    if (!powered()) {
        return -EIO;
    }
    const fault *struck = faults_.strike(what.name, what.path, kind == call_kind::ioctl);
    if (struck != nullptr && struck->error != 0) {
        return -struck->error;
    }
    if (struck != nullptr && struck->signal != 0) {
        ::kill(::getpid(), struck->signal);
    }
    what.answer = struck != nullptr ? struck->result : std::nullopt;
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    const int64_t result = act(what, struck != nullptr ? struck->short_to.value_or(all) : all);
    return powered() ? result : -EIO;
}

int64_t board::operate(operation what, call_kind kind, const action &act)
{
    const std::lock_guard lock(mutex_);
    const int error_before = errno;
    const int64_t now = now_us();
    if (started_us_ < 0) {
        started_us_ = now;
    }
    what.time_us = now - started_us_;
    const int64_t result = attempt(what, kind, act);
    what.result = result < 0 ? -1 : result;
    what.error = result < 0 ? static_cast<int>(-result) : 0;
    record(std::move(what));
    errno = error_before; // what came of the log is none of the program's business
    return result;
}

void board::record(operation done)
{
    if (folder_.empty()) {
        log_.push_back(std::move(done));
    } else {
        append_line(folder_ / log_file_name, log_line(done, ::getpid()));
    }
}

void board::note(operation what)
{
    what.time_us = now_us() - started_us_;
    record(std::move(what));
}

void board::power_failed()
{
    note({.name = "power_cut", .path = "board"});
    if (folder_.empty()) {
        return;
    }
    const char *console = std::getenv(console_variable);
    const int process = console != nullptr ? std::atoi(console) : 0;
    while (process > 1 && ::kill(process, SIGUSR1) == 0) {
        ::pause(); // until it kills: nothing that runs beside this may see its end
    }
    ::kill(::getpid(), SIGKILL);
}

} // namespace sim
