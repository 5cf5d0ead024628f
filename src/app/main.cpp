#include "app/setmac_main.h"

int main(int argc, char **argv)
{
    return run_legacy_main(argc, argv) < 0 ? 1 : 0;
}
