# Tests of the floor's file, ports and slots.

# Floors over models of switches in the tests' own process.
add_library(floor_slots_support OBJECT
    unit/floor/slots/floor_fixture.cpp
    unit/station/switch_model.cpp
    unit/station/switch_model_operations.cpp)
compile_quickly(floor_slots_support)
target_include_directories(floor_slots_support PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(floor_slots_support
    PUBLIC floor_slots
    PRIVATE GTest::gtest setmac_warnings setmac_sanitizers setmac_test_flags)
add_gtest(floor_slot_tests
    SOURCES
        unit/floor/printing/label_template_test.cpp
        unit/floor/printing/printer_test.cpp
        unit/floor/slots/floor_control_test.cpp
        unit/floor/slots/desk_test.cpp
        unit/floor/slots/floor_file_test.cpp
        unit/floor/slots/labels_test.cpp
        unit/floor/slots/port_line_test.cpp
        unit/floor/slots/ports_test.cpp
        unit/floor/slots/slot_worker_test.cpp
        unit/floor/slots/transcript_line_test.cpp
        unit/pty_as_port.cpp
    LIBRARIES floor_slots_support)

# Floors with a ledger on a server, which is started once for all of them.
add_gtest(floor_ledger_tests
    SOURCES unit/floor/slots/floor_on_server_test.cpp
    LIBRARIES floor_slots_support ledger_support
    NOT_DISCOVERED floor_on_server.*)
add_test(NAME floor_ledger_tests/postgres COMMAND floor_ledger_tests)
set_tests_properties(floor_ledger_tests/postgres PROPERTIES COST 100)

# The floor's program as it ships.
add_gtest(floor_e2e_tests SOURCES e2e/floor/floor_program_test.cpp LIBRARIES e2e_support)
target_compile_definitions(floor_e2e_tests PRIVATE E2E_PRODUCTS="${PROJECT_SOURCE_DIR}/examples/products")
add_dependencies(floor_e2e_tests setmac-floor setmac-ledger ${simulated_switch})

# Many simulated switches at once: what must hold whatever becomes of the floor's process and of slots.
add_gtest(floor_proofs
    SOURCES
        e2e/floor/kill_test.cpp
        e2e/floor/simulated_floor.cpp
        e2e/floor/slot_faults_test.cpp
    LIBRARIES e2e_support floor_slots)
target_compile_definitions(floor_proofs PRIVATE
    E2E_PRODUCTS="${PROJECT_SOURCE_DIR}/examples/products")
add_dependencies(floor_proofs setmac simboard simboard_preload dev_drv_standin setmac_fallback_standin)
