# Tests of the floor's file, ports and slots.

# Over models of switches in the tests' own process.
add_gtest(floor_slot_tests
    SOURCES
        unit/floor/printing/label_template_test.cpp
        unit/floor/printing/printer_test.cpp
        unit/floor/slots/floor_control_test.cpp
        unit/floor/slots/desk_test.cpp
        unit/floor/slots/floor_file_test.cpp
        unit/floor/slots/floor_fixture.cpp
        unit/floor/slots/labels_test.cpp
        unit/floor/slots/port_line_test.cpp
        unit/floor/slots/ports_test.cpp
        unit/floor/slots/transcript_line_test.cpp
        unit/pty_as_port.cpp
        unit/station/switch_model.cpp
        unit/station/switch_model_operations.cpp
    LIBRARIES floor_slots)

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
