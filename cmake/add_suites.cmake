# Read by ctest before it runs: makes each suite of an executable of tests one test of the test runner, which
# then starts the executable tens of times and not hundreds; under the sanitizers a start costs more than most
# tests. Set by tests/CMakeLists.txt: name, executable, emulator, left_out (patterns), properties.
if(NOT EXISTS ${executable})
    add_test(${name}_NOT_BUILT ${executable})
    return()
endif()
execute_process(COMMAND ${emulator} ${executable} --gtest_list_tests --gtest_filter=-${left_out}
    OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "(^|\n)[^ \n]+\\." suites "${listing}")
foreach(suite IN LISTS suites)
    string(STRIP "${suite}" suite)
    string(REGEX REPLACE "\\.$" "" title "${suite}")
    add_test(${name}/${title} ${emulator} ${executable} --gtest_filter=${suite}*-${left_out})
    if(properties)
        set_tests_properties(${name}/${title} ${properties})
    endif()
endforeach()
