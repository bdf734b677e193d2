find_package(Qt6 REQUIRED COMPONENTS QuickTest)

# One runner for the desk's QML tests. By default it runs tests/qml/desk against a
# recording double of the backend; tst_desk_wire runs tests/qml/wire against the real
# backend, with liblo's oscdump as the receiver.
osc_add_test(tst_desk_qml
    SOURCES qml/deskqmltests.cpp
        support/recordingbackend.h support/recordingbackend.cpp
        support/oscdumpprocess.h support/oscdumpprocess.cpp
        support/testtools.h support/testtools.cpp
    LIBRARIES Qt6::QuickTest Qt6::Quick Qt6::QuickControls2 Qt6::Network oscdesk_qml oscdesk_backend oscdesk_scenario)
target_include_directories(tst_desk_qml PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/support")
target_compile_definitions(tst_desk_qml PRIVATE
    QUICK_TEST_SOURCE_DIR="${CMAKE_CURRENT_SOURCE_DIR}/qml/desk")

set(desk_wire_dir "${CMAKE_CURRENT_BINARY_DIR}/run/tst_desk_wire")
file(MAKE_DIRECTORY "${desk_wire_dir}")
add_test(NAME tst_desk_wire
    COMMAND tst_desk_qml -input "${CMAKE_CURRENT_SOURCE_DIR}/qml/wire"
    WORKING_DIRECTORY "${desk_wire_dir}")
set_tests_properties(tst_desk_wire PROPERTIES ENVIRONMENT
    "QT_QPA_PLATFORM=offscreen;XDG_CONFIG_HOME=${desk_wire_dir}/config;OSC_EXAMPLES_DIR=${PROJECT_SOURCE_DIR}/examples;OSC_QML_BACKEND=real")

# The whole window, from the user's hand to the wire and back, with the real backend.
set(main_window_dir "${CMAKE_CURRENT_BINARY_DIR}/run/tst_main_window")
file(MAKE_DIRECTORY "${main_window_dir}")
add_test(NAME tst_main_window
    COMMAND tst_desk_qml -input "${CMAKE_CURRENT_SOURCE_DIR}/qml/main"
    WORKING_DIRECTORY "${main_window_dir}")
set_tests_properties(tst_main_window PROPERTIES RESOURCE_LOCK device_ports ENVIRONMENT
    "QT_QPA_PLATFORM=offscreen;XDG_CONFIG_HOME=${main_window_dir}/config;OSC_EXAMPLES_DIR=${PROJECT_SOURCE_DIR}/examples;OSC_QML_BACKEND=real")
