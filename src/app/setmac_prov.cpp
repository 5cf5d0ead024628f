#include <cstdio>
#include <span>
#include <string_view>

#include <unistd.h>

#include "app/setmac_main.h"
#include "base/trace.h"
#include "console/com_data_provider.h"
#include "exchange/protocol.h"
#include "platform/dev_drv.h"
#include "units/set_backplane.h"
#include "units/set_fan_sn.h"
#include "units/set_power_sn.h"
#include "units/setsn_device.h"

namespace {

constexpr int top_priority = -20;

struct pc_operation {
    std::string_view name;
    int32_t (*run)();
};

int32_t set_chassis_device_sn_info()
{
    setdevice_zk80chassis = 1;
    return set_device_sn_info();
}

/** In the TLV flavour this is the one operation that needs the driver library from its start. */
int32_t init_and_set_device_sn_info()
{
    dev_drv_init();
    return set_device_sn_info();
}

constexpr pc_operation legacy_operations[] = {
    {"setmac", [] { return enter_setmac(mode_product_info); }},
    {"setsn", [] { return enter_setsn(mode_product_serial); }},
    {"setdevice", set_device_sn_info},
    {"setdevice_zk80chassis", set_chassis_device_sn_info},
    {"setbackplane", set_backplane_info},
    {"setfansn", set_fan_info},
    {"setpoesn", set_poe_info},
    {"setpwrsn", set_pwr_info},
};

constexpr pc_operation tlv_operations[] = {
    {"setmac", [] { return enter_setmac(mode_tlv); }},
    {"setsn", [] { return enter_setsn(mode_tlv_serial); }},
    {"setdevice", init_and_set_device_sn_info},
    {"setbackplane", set_backplane_info},
    {"setfansn", set_fan_info},
};

int32_t run_operation(std::span<const pc_operation> operations, std::string_view name)
{
    for (const pc_operation &operation : operations) {
        if (operation.name == name) {
            return operation.run();
        }
    }
    return -1;
}

void close_debug_log()
{
    if (setmac_debug_fd != nullptr) {
        fclose(setmac_debug_fd);
        setmac_debug_fd = nullptr;
    }
}

/** Hands the console to the PC for the operation that the arguments name. */
int32_t run_on_raw_console(std::span<const pc_operation> operations, int argc, char **argv)
{
    if (argc < 2 || argc > 3) {
        return -1;
    }
    if (argc == 3) {
        setmac_debug_fd = fopen(argv[2], "a+");
    }
    tty_opts_ctrl(1);
    // The time limits of the line are kept by polling, so nothing else should run meanwhile.
    // Without the right to that, it goes on as it is.
    [[maybe_unused]] const int priority = nice(top_priority);
    const int32_t result = run_operation(operations, argv[1]);
    close_debug_log();
    tty_opts_ctrl(0);
    return result;
}

} // namespace

int32_t do_prov_setmac(int argc, char **argv)
{
    return run_on_raw_console(legacy_operations, argc, argv);
}

int32_t do_tlv_setmac(int argc, char **argv)
{
    return run_on_raw_console(tlv_operations, argc, argv);
}
