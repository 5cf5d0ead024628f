#include "app/setmac_main.h"

int main(int argc, char **argv)
{
    // The flavour is a choice of the build: SETMAC_ENTRY is run_legacy_main or run_tlv_main.
    return SETMAC_ENTRY(argc, argv) < 0 ? 1 : 0;
}
