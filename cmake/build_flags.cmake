# Hardening of everything that is built optimised, as it ships: position-independent executables, an
# address table that is bound and sealed before main, guarded stacks, checked C library calls and checked
# indexes of the C++ library. FORTIFY wants an optimiser, so the other builds go without.
set(hardened $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
add_compile_options(
    $<$<AND:${hardened},$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>,$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>>>:-fPIE>
    "$<${hardened}:SHELL:-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS>")
add_link_options(
    $<$<AND:${hardened},$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>>:-pie>
    "$<${hardened}:LINKER:-z,relro,-z,now,-z,noexecstack>")

# Most of a build's time would go into reading the same headers: several files of a target are compiled as one.
# With SETMAC_TOGETHER off each is compiled on its own, which holds it to what it includes itself.
option(SETMAC_TOGETHER "Compile several files as one: all takes half the time, a change longer" ON)
set(CMAKE_UNITY_BUILD ${SETMAC_TOGETHER})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)

# Interface targets that carry the flags of every compilation:
#   setmac_warnings    strict warnings, as errors
#   setmac_sanitizers  those that SETMAC_SANITIZE names, or nothing
#   setmac_plain       the procedural C++ of the switch program: no exceptions, no RTTI, small
#   setmac_laid_out    after setmac_sanitizers: checks for the code that lays records over bytes
#   setmac_test_flags  after setmac_sanitizers: what tests go without
#   setmac_explored    what fuzz targets test: tells the fuzzer, or a coverage report, where it has been
# and has_fuzzer: there are fuzz targets beside the tests, of the same objects. A build of their own
# (SETMAC_FUZZ) is faster for long campaigns.
string(COMPARE EQUAL "${SETMAC_SANITIZE}:${CMAKE_CXX_COMPILER_ID}" ON:Clang has_fuzzer)

if(has_fuzzer OR SETMAC_FUZZ)
    # A step past the end of a part of a buffer, which the sanitizers take for the buffer's own.
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

# g++ 12 sees overlapping copies in every optimised "text" + std::string; hence no -Wrestrict.
# Of clang, what g++ means by the same options: without enumerators that shadow functions of the C library,
# and signed numbers that become unsigned. Of files that are compiled as one, neighbours are no shadows.
add_library(setmac_warnings INTERFACE)
target_compile_options(setmac_warnings INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Werror
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    $<$<BOOL:${SETMAC_TOGETHER}>:-Wno-shadow>
    "$<$<CXX_COMPILER_ID:Clang>:-Wno-shadow;-Wno-sign-conversion>")

# For arm64 it sees overflows in vectorised copies into any std::vector; the other builds warn of those.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
    target_compile_options(setmac_warnings INTERFACE -Wno-stringop-overflow)
endif()

# Null pointers and odd addresses, whose checks would take the compiler a fifth of its time, are looked for in
# the switch program (setmac_laid_out): it lays records over bytes.
#
# The runtimes are linked into the executable itself. They then come first in the order of look-up
# whatever is preloaded, so that a sanitized program runs over libsimboard.so too.
add_library(setmac_sanitizers INTERFACE)
add_library(setmac_laid_out INTERFACE)
add_library(setmac_test_flags INTERFACE)
if(SETMAC_SANITIZE STREQUAL thread)
    # Boost has fences, which the sanitizer does not follow: what they alone order, it would report.
    target_compile_options(setmac_sanitizers INTERFACE
        -fsanitize=thread -g1 $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
    target_link_options(setmac_sanitizers INTERFACE
        -fsanitize=thread $<$<CXX_COMPILER_ID:GNU>:-static-libtsan>)
elseif(SETMAC_SANITIZE)
    target_compile_options(setmac_sanitizers INTERFACE
        -fsanitize=address,undefined -fno-sanitize=vptr,null,alignment -fno-sanitize-recover=all
        -fno-omit-frame-pointer
        -g1) # what their reports need; the debugger has a build of its own
    target_link_options(setmac_sanitizers INTERFACE
        -fsanitize=address,undefined $<$<CXX_COMPILER_ID:GNU>:-static-libasan;-static-libubsan>)
    target_compile_options(setmac_laid_out INTERFACE -fsanitize=null,alignment)
    # Tests themselves are for finding what is wrong in others: checks of each of their steps take a third of
    # the time that compiling them takes.
    target_compile_options(setmac_test_flags INTERFACE -fno-sanitize=undefined)
endif()

add_library(setmac_explored INTERFACE)
if(SETMAC_FUZZ)
    # Run by the thousand, and compiled for nothing else: the last option for debugging counts. Words of the
    # formats come from the dictionary: a call for each comparison would take as long as all else. And what is
    # called through a pointer is seen by where it leads.
    target_compile_options(setmac_explored INTERFACE -O2 -gline-tables-only
        $<IF:$<BOOL:${SETMAC_COVERAGE}>,-fprofile-instr-generate;-fcoverage-mapping,-fsanitize=fuzzer-no-link;-fno-sanitize-coverage=trace-cmp$<COMMA>indirect-calls>)
elseif(has_fuzzer)
    target_compile_options(setmac_explored INTERFACE -fsanitize=fuzzer-no-link)
    # A quarter of the time that the system's linker takes for these large executables.
    target_link_options(setmac_sanitizers INTERFACE -fuse-ld=lld)
endif()

# The C++ library's checks would bring all of its machinery for a program's last words along, 90 KB. Builds
# with fuzz targets have them.
add_library(setmac_plain INTERFACE)
target_compile_options(setmac_plain INTERFACE
    -fno-exceptions -fno-rtti -fvisibility=hidden -ffunction-sections -fdata-sections
    $<$<NOT:$<OR:$<BOOL:${SETMAC_FUZZ}>,$<BOOL:${has_fuzzer}>>>:-U_GLIBCXX_ASSERTIONS>)
target_link_libraries(setmac_plain INTERFACE
    setmac_warnings setmac_sanitizers setmac_laid_out setmac_explored)

# compile_apart(SOURCE...): those that have names of their own in common, each in its file, and are short.
function(compile_apart)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# optimise_little(SOURCE...): those that read a command line, once, by a library of a thousand templates, whose
# steps are not checked either.
function(optimise_little)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS
        "$<$<CONFIG:Release>:-O1>;$<$<STREQUAL:${SETMAC_SANITIZE},ON>:-fno-sanitize=undefined>")
endfunction()

# precompile(TARGET HEADER...): what most of its files include, read by the compiler once. Under the sanitizers
# only: the other builds hold each file to including all that it uses.
function(precompile target)
    if(SETMAC_SANITIZE)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    endif()
endfunction()
