#include "platform/dev_drv.h"

// The stand-in for the maker's library: each operation is answered by the simulated board when its
// library is preloaded. Without one nothing is present and every operation fails.

namespace {

constexpr int32_t nothing_to_do = 0;
constexpr int32_t not_present = 0;
constexpr int32_t failed = -1;

} // namespace

// Defines the operation `name`, which hands its arguments to the board's operation behind it. It is
// a weak symbol: null where there is no board.
#define HAND_ON(name, without_board, parameters, arguments)                                        \
    [[gnu::weak]] decltype(name) simboard_##name;                                                  \
    [[gnu::visibility("default")]] int32_t name parameters                                         \
    {                                                                                              \
        return simboard_##name != nullptr ? simboard_##name arguments : (without_board);           \
    }

extern "C" {

HAND_ON(dev_drv_init, nothing_to_do, (), ())
HAND_ON(drv_set_e2_wr_pro, failed, (int32_t index, int32_t protect), (index, protect))
HAND_ON(drv_set_backplane_info, failed, (int32_t index, const void *record), (index, record))

HAND_ON(drv_get_fan_status, not_present, (int32_t index), (index))
HAND_ON(drv_get_power_status, not_present, (int32_t index), (index))
HAND_ON(drv_get_sslot_state, not_present, (int32_t index), (index))

HAND_ON(drv_get_fan_type, failed, (int32_t index), (index))
HAND_ON(drv_set_fan_info, failed, (int32_t index, const char *sn, const char *hw), (index, sn, hw))
HAND_ON(drv_set_fan_info_with_type, failed,
        (int32_t index, const uint32_t *type, const char *sn, const char *hw),
        (index, type, sn, hw))
HAND_ON(drv_get_fan_sn, failed, (int32_t index, char *sn, uint32_t *length, uint32_t size),
        (index, sn, length, size))
HAND_ON(drv_get_fan_hw_version, failed, (int32_t index, char *hw, uint32_t *length, uint32_t size),
        (index, hw, length, size))

HAND_ON(drv_get_power_name, failed, (int32_t index, char *name, uint32_t *length),
        (index, name, length))
HAND_ON(drv_set_power_hw_version, failed, (int32_t index, const char *hw), (index, hw))
HAND_ON(drv_get_power_hw_version, failed,
        (int32_t index, char *hw, uint32_t *length, uint32_t size), (index, hw, length, size))

HAND_ON(drv_get_my_card_type, failed, (), ())
HAND_ON(drv_get_sub_unintlg_lc_info, failed,
        (int32_t own_card_type, int32_t index, uint32_t *card_type, char *buffer),
        (own_card_type, index, card_type, buffer))
HAND_ON(drv_set_sub_unintlg_info, failed, (int32_t index, const char *sn, const char *hw),
        (index, sn, hw))
HAND_ON(drv_get_sub_unintlg_sn, failed, (int32_t index, char *sn, uint32_t *length, uint32_t size),
        (index, sn, length, size))
HAND_ON(drv_get_sub_unintlg_hw_ver, failed,
        (int32_t index, char *hw, uint32_t *length, uint32_t size), (index, hw, length, size))
}
