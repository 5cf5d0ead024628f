# Interface targets that carry the flags of every compilation:
#   setmac_warnings    strict warnings, as errors
#   setmac_sanitizers  both sanitizers where SETMAC_SANITIZE is on, nothing otherwise
#   setmac_plain       the procedural C++ of the switch program: no exceptions, no RTTI, small
#   setmac_explored    what fuzz targets test: tells the fuzzer, or a coverage report, where it has been

# g++ 12 sees overlapping copies in every optimised "text" + std::string; hence no -Wrestrict.
add_library(setmac_warnings INTERFACE)
target_compile_options(setmac_warnings INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Werror
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# The runtimes are linked into the executable itself. They then come first in the order of look-up
# whatever is preloaded, so that a sanitized program runs over libsimboard.so too.
add_library(setmac_sanitizers INTERFACE)
if(SETMAC_SANITIZE)
    target_compile_options(setmac_sanitizers INTERFACE
        -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_link_options(setmac_sanitizers INTERFACE
        -fsanitize=address,undefined $<$<CXX_COMPILER_ID:GNU>:-static-libasan;-static-libubsan>)
endif()

add_library(setmac_explored INTERFACE)
if(SETMAC_FUZZ)
    # Run by the thousand, and compiled for nothing else: the last option for debugging counts.
    target_compile_options(setmac_explored INTERFACE -O1 -gline-tables-only
        $<IF:$<BOOL:${SETMAC_COVERAGE}>,-fprofile-instr-generate;-fcoverage-mapping,-fsanitize=fuzzer-no-link>)
endif()

add_library(setmac_plain INTERFACE)
target_compile_options(setmac_plain INTERFACE
    -fno-exceptions -fno-rtti -fvisibility=hidden -ffunction-sections -fdata-sections)
target_link_libraries(setmac_plain INTERFACE setmac_warnings setmac_sanitizers setmac_explored)
