# Tests of the floor.

find_package(CLI11 REQUIRED)

# A floor without switches and ledger, and a program that serves the page over it.
add_library(floor_support OBJECT unit/floor/stand_in.cpp)
target_include_directories(floor_support PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(floor_support
    PUBLIC floor_server
    PRIVATE setmac_warnings setmac_sanitizers)
add_executable(floor_stand_in EXCLUDE_FROM_ALL floor/stand_in_main.cpp)
optimise_little(floor/stand_in_main.cpp)
target_link_libraries(floor_stand_in PRIVATE
    floor_support floor_server setmac_warnings setmac_sanitizers CLI11::CLI11)

# What requests mean, and the server over real sockets.
add_gtest(floor_tests
    SOURCES
        unit/floor/requests/door_test.cpp
        unit/floor/requests/input_test.cpp
        unit/floor/requests/routes_test.cpp
        unit/floor/requests/rows_test.cpp
        unit/floor/server/events_test.cpp
        unit/floor/server/export_test.cpp
        unit/floor/server/hostile_test.cpp
        unit/floor/server/raw_connection.cpp
        unit/floor/server/server_test.cpp
    LIBRARIES floor_support floor_server)
