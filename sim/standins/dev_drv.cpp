#include "platform/dev_drv.h"

// The stand-in for the maker's library: each operation is answered by the simulated board when its
// library is preloaded, and does nothing without one.

extern "C" {

[[gnu::weak]] int32_t simboard_dev_drv_init();

[[gnu::weak]] int32_t simboard_drv_set_e2_wr_pro(int32_t index, int32_t protect);

[[gnu::visibility("default")]] int32_t dev_drv_init()
{
    return simboard_dev_drv_init != nullptr ? simboard_dev_drv_init() : 0;
}

[[gnu::visibility("default")]] int32_t drv_set_e2_wr_pro(int32_t index, int32_t protect)
{
    return simboard_drv_set_e2_wr_pro != nullptr ? simboard_drv_set_e2_wr_pro(index, protect) : -1;
}
}
