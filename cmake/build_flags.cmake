# Interface targets that carry the flags of every compilation:
#   setmac_warnings    strict warnings, as errors
#   setmac_sanitizers  both sanitizers where SETMAC_SANITIZE is on, nothing otherwise
#   setmac_plain       the procedural C++ of the switch program: no exceptions, no RTTI, small

# g++ 12 sees overlapping copies in every optimised "text" + std::string; hence no -Wrestrict.
add_library(setmac_warnings INTERFACE)
target_compile_options(setmac_warnings INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Wno-restrict -Werror)

# The runtimes are linked into the executable itself. They then come first in the order of look-up
# whatever is preloaded, so that a sanitized program runs over libsimboard.so too.
add_library(setmac_sanitizers INTERFACE)
if(SETMAC_SANITIZE)
    target_compile_options(setmac_sanitizers INTERFACE
        -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_link_options(setmac_sanitizers INTERFACE
        -fsanitize=address,undefined -static-libasan -static-libubsan)
endif()

add_library(setmac_plain INTERFACE)
target_compile_options(setmac_plain INTERFACE
    -fno-exceptions -fno-rtti -fvisibility=hidden -ffunction-sections -fdata-sections)
target_link_libraries(setmac_plain INTERFACE setmac_warnings setmac_sanitizers)
