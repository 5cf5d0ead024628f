#pragma once

// The parser of board files. Its functions are compiled once, in toml.cpp. Debian has them as a
// shared library as well, but libsimboard.so brings along all that it needs.
#define TOML_HEADER_ONLY 0
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>
