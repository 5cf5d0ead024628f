#include "app/setmac_main.h"

#include <cstdio>
#include <string_view>

#include <libgen.h>

#include "platform/dev_drv.h"
#include "store/productinfo.h"

namespace {

int32_t prov_setmac_main(int argc, char **argv)
{
    dev_drv_init();
    return do_prov_setmac(argc, argv);
}

struct command {
    std::string_view name;
    int32_t (*run)(int argc, char **argv);
};

constexpr command legacy_commands[] = {
    {"setsn", setsn_main},   {"setcountry", setcountry_main}, {"setproduct", setproduct_main},
    {"setmac", setmac_main}, {"fw_setmac", do_setmac},        {"prov_setmac", prov_setmac_main},
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
