#include "app/setmac_main.h"

#include <cstdio>
#include <string_view>

#include <libgen.h>

#include "eeprom/tlv_info.h"
#include "platform/dev_drv.h"
#include "store/productinfo.h"

namespace {

int32_t prov_setmac_main(int argc, char **argv)
{
    dev_drv_init();
    return do_prov_setmac(argc, argv);
}

constexpr std::string_view prov_setmac_name = "prov_setmac";

struct command {
    std::string_view name;
    int32_t (*run)(int argc, char **argv);
};

constexpr command legacy_commands[] = {
    {"setsn", setsn_main},   {"setcountry", setcountry_main}, {"setproduct", setproduct_main},
    {"setmac", setmac_main}, {"fw_setmac", do_setmac},        {prov_setmac_name, prov_setmac_main},
};

const command *find_command(std::string_view name)
{
    for (const command &entry : legacy_commands) {
        if (entry.name == name) {
            return &entry;
        }
    }
    return nullptr;
}

int32_t save_and_report()
{
    const int32_t result = save_product_info();
    puts(result == 0 ? "Save product info success.\r" : "Save product info failed.\r");
    return result;
}

/** Runs a command of the TLV flavour on the loaded image. */
int32_t run_on_image(int argc, char **argv)
{
    if (basename(argv[0]) == prov_setmac_name) {
        return do_tlv_setmac(argc, argv);
    }
    show_prod_info();
    return list_ext_tlv_info(g_data_eeprom);
}

} // namespace

int32_t run_legacy_main(int argc, char **argv)
{
    if (init_product_info() < 0) {
        puts("Setmac init failed.\r");
        return -1;
    }
    const command *asked = find_command(basename(argv[0]));
    if (asked == nullptr) {
        show_prod_info();
        clr_prod_info();
        return 0;
    }
    int32_t result = asked->run(argc, argv);
    if (result == 0) {
        result = save_and_report();
    }
    clr_prod_info();
    return result;
}

int32_t run_tlv_main(int argc, char **argv)
{
    const int32_t loaded = init_product_info();
    if (loaded < 0) {
        puts("Setmac init failed.\r");
        return loaded;
    }
    set_product_info(product_info_marker, product_info_incomplete);
    int32_t result = -1;
    if (read_eeprom(g_data_eeprom) != 0) {
        puts("Setmac e2prom read faile");
    } else {
        set_product_info(product_info_marker, product_info_complete);
        result = run_on_image(argc, argv);
    }
    clr_prod_info();
    return result;
}
