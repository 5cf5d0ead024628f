# Tests of the ledger, its library and its program.

# The ledger, on both databases. Those on the server are one test: it is started once for all of them, and
# they fail where there is no server to start; all else can be built without one.
find_program(POSTGRES_PROGRAM postgres
    PATHS /usr/lib/postgresql/17/bin /usr/lib/postgresql/16/bin /usr/lib/postgresql/15/bin)
get_filename_component(postgres_programs ${POSTGRES_PROGRAM} REALPATH)
get_filename_component(postgres_programs ${postgres_programs} DIRECTORY)
add_library(ledger_support OBJECT
    unit/ledger/support/ledger_test.cpp
    unit/ledger/support/postgres_server.cpp
    unit/ledger/support/recording_disk.cpp)
target_include_directories(ledger_support PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_definitions(ledger_support PRIVATE POSTGRES_PROGRAMS="${postgres_programs}")
target_link_libraries(ledger_support
    PUBLIC ledger GTest::gtest PkgConfig::libpq PkgConfig::sqlite3
    PRIVATE setmac_warnings setmac_sanitizers)
add_gtest(ledger_tests BY_SUITE
    SOURCES
        unit/ledger/attempts_test.cpp
        unit/ledger/import_test.cpp
        unit/ledger/lists_test.cpp
        unit/ledger/model_test.cpp
        unit/ledger/power_cut_test.cpp
        unit/ledger/prints_test.cpp
        unit/ledger/reserve_test.cpp
        unit/ledger/rules_test.cpp
        unit/ledger/storage_test.cpp
        unit/ledger/witness_test.cpp
    LIBRARIES ledger_support ledger_files
    NOT_DISCOVERED postgres/*)
add_test(NAME ledger_tests/postgres COMMAND ledger_tests --gtest_filter=postgres/*)

# The ledger's program, and the station with a ledger, as they ship.
add_gtest(ledger_e2e_tests
    SOURCES
        e2e/ledger/ledger_program_test.cpp
        e2e/ledger/registered_test.cpp
        e2e/provision/provision_session.cpp
    LIBRARIES e2e_support ledger_support
    NOT_DISCOVERED postgres/*)
target_compile_definitions(ledger_e2e_tests PRIVATE
    E2E_PRODUCTS="${PROJECT_SOURCE_DIR}/examples/products" STATION_VERSION="${PROJECT_VERSION}")
add_dependencies(ledger_e2e_tests setmac-ledger ${simulated_switch} setmac-station)
add_test(NAME ledger_e2e_tests/postgres COMMAND ledger_e2e_tests --gtest_filter=postgres/*)

# Many at once, ends at every system call, connections that break: what must hold all the same. What
# ends the program is preloaded, so it never carries the sanitizers.
add_executable(exchange_first e2e/ledger/exchange_first.cpp)
target_link_libraries(exchange_first PRIVATE station_registered setmac_warnings setmac_sanitizers)
add_library(crash_point SHARED e2e/ledger/crash_point.cpp)
target_link_options(crash_point PRIVATE -static-libgcc)
target_link_libraries(crash_point PRIVATE setmac_warnings)
add_gtest(ledger_proofs
    SOURCES
        e2e/ledger/connection_test.cpp
        e2e/ledger/crash_test.cpp
        e2e/ledger/crowd_test.cpp
        e2e/ledger/postgres_proxy.cpp
        e2e/ledger/provisioning_test.cpp
        e2e/provision/provision_session.cpp
    LIBRARIES e2e_support ledger_support
    NOT_DISCOVERED postgres/*)
target_compile_definitions(ledger_proofs PRIVATE
    E2E_CRASH_POINT="$<TARGET_FILE:crash_point>"
    E2E_EXCHANGE_FIRST="$<TARGET_FILE:exchange_first>"
    E2E_PRODUCTS="${PROJECT_SOURCE_DIR}/examples/products")
add_dependencies(ledger_proofs setmac-ledger crash_point exchange_first ${simulated_switch} setmac-station)
add_test(NAME ledger_proofs/postgres COMMAND ledger_proofs --gtest_filter=postgres/*)

# What stands between the station and the ledger.
target_sources(station_tests PRIVATE unit/station/registered/registered_run_test.cpp)
target_link_libraries(station_tests PRIVATE station_registered)

# They take longest, so they are the first to start.
set_tests_properties(ledger_tests/postgres ledger_proofs/postgres PROPERTIES COST 100)
