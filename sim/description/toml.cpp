#define TOML_IMPLEMENTATION
#include "sim/description/toml.h"
