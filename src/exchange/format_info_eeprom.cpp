#include "exchange/format_info.h"

#include "base/trace.h"
#include "eeprom/e2prom.h"

int32_t setmac_check_eeprom_type(const uint8_t *bytes, uint32_t count)
{
    if (count > sizeof(uint32_t)) {
        return -1;
    }
    const int32_t card_type = setmac_get_my_card_type();
    if (card_type < 0) {
        SETMAC_TRACE("\r\nError eeprom read type:%d", card_type);
        return -1;
    }
    if (card_type == 0) {
        SETMAC_TRACE("\r\nSkip eeprom check.");
        return 0;
    }
    uint32_t wanted = 0;
    for (uint32_t i = 0; i < count; ++i) {
        wanted = wanted << 8 | bytes[i];
    }
    SETMAC_TRACE("\r\nCheck eeprom type, read:%u, check:%u ", static_cast<uint32_t>(card_type),
                 wanted);
    return static_cast<uint32_t>(card_type) == wanted ? 0 : -1;
}
