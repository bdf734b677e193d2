# Load, floods and hostile inputs. Both bind the device's fixed ports 9000 and 9001.
osc_add_test(tst_flood SOURCES tst_flood.cpp LIBRARIES oscdesk_backend Qt6::Network
    ENVIRONMENT "OSC_TEST_SCRIPTS_DIR=${CMAKE_CURRENT_SOURCE_DIR}/scripts;QT_LOGGING_RULES=default.debug=false")
osc_add_test(tst_hostile SOURCES tst_hostile.cpp LIBRARIES oscdesk_backend Qt6::Network)
set_tests_properties(tst_flood tst_hostile PROPERTIES RESOURCE_LOCK device_ports)
