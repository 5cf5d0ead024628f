#pragma once

#include "sim/parts/eeprom_chip.h"
#include "sim/parts/i2c_bridge.h"
#include "sim/parts/registers.h"

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace sim {

class supply_chip;

/** The FPGA: byte registers, among them those of its I2C bridge, and the chips behind the bridge.
 */
class fpga_device : public register_device {
public:
    /** log: takes the operations "bridge". */
    fpga_device(const fpga &what, const memory_maker &make, power &supply,
                std::function<void(operation)> log);
    ~fpga_device() override;

    void add(const bridge_trouble &what) { bridge_.add(what); }

    /** An EEPROM behind the bridge. Throws std::out_of_range when there is none. */
    eeprom_chip &eeprom(const bridge_place &place) const { return *eeproms_.at(place); }
    /** A supply that is present. Throws std::out_of_range when there is none. */
    supply_chip &supply(const bridge_place &place) const { return *supplies_.at(place); }

protected:
    uint8_t load(std::size_t number) override;
    void store(std::size_t number, uint8_t value) override;

private:
    void fit(const bridge_eeprom &what, const memory_maker &make, power &supply);
    void fit(const bridge_supply &what, const memory_maker &make, power &supply);
    /** Whether the device beside a fan's EEPROM protects it; the device is fitted if need be. */
    std::function<bool()> fan_protection(const bridge_place &fan, const memory_maker &make);
    void begin(uint8_t command);
    void deliver();

    i2c_bridge bridge_;
    std::map<bridge_place, eeprom_chip *> eeproms_;
    std::map<bridge_place, supply_chip *> supplies_;
    std::map<bridge_place, std::function<bool()>> fan_protections_;
    std::map<std::size_t, uint8_t> presence_; // registers whose bits tell what is plugged in
    std::vector<std::unique_ptr<memory>> write_cycles_;
};

} // namespace sim
