# Tests of the floor's file, ports and slots.

# Over models of switches in the tests' own process.
add_gtest(floor_slot_tests
    SOURCES
        unit/floor/slots/floor_control_test.cpp
        unit/floor/slots/floor_fixture.cpp
        unit/station/switch_model.cpp
        unit/station/switch_model_operations.cpp
    LIBRARIES floor_slots)
