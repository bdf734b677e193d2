osc_add_test(tst_emulation SOURCES tst_emulation.cpp LIBRARIES oscdesk_backend Qt6::Network)
osc_add_test(tst_receive SOURCES tst_receive.cpp LIBRARIES oscdesk_backend Qt6::Network)
osc_add_test(tst_receive_e2e SOURCES tst_receive_e2e.cpp LIBRARIES oscdesk_backend Qt6::Network
    ENVIRONMENT "OSC_TEST_SCRIPTS_DIR=${CMAKE_CURRENT_SOURCE_DIR}/scripts")
# These bind the device's fixed ports 9000 and 9001.
set_tests_properties(tst_emulation tst_receive tst_receive_e2e PROPERTIES RESOURCE_LOCK device_ports)

# The program itself, without a window: the headless monitor.
osc_add_test(tst_monitor_cli SOURCES tst_monitor_cli.cpp LIBRARIES Qt6::Network
    ENVIRONMENT "OSC_TEST_SCRIPTS_DIR=${CMAKE_CURRENT_SOURCE_DIR}/scripts;OSC_PROGRAM=$<TARGET_FILE:lumenfold-osc-emulator>")
add_dependencies(tst_monitor_cli lumenfold-osc-emulator)

# Scenarios: the file format, and runs of the program without a window.
osc_add_test(tst_scenario SOURCES tst_scenario.cpp LIBRARIES oscdesk_scenario Qt6::Network
    ENVIRONMENT "OSC_PROGRAM=$<TARGET_FILE:lumenfold-osc-emulator>")
add_dependencies(tst_scenario lumenfold-osc-emulator)
set_tests_properties(tst_scenario PROPERTIES RESOURCE_LOCK device_ports)
