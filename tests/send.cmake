osc_add_test(tst_send SOURCES tst_send.cpp LIBRARIES oscdesk_backend Qt6::Network)
osc_add_test(tst_send_oscdump
    SOURCES tst_send_oscdump.cpp support/oscdumpprocess.h support/oscdumpprocess.cpp
    LIBRARIES oscdesk_backend Qt6::Network)
target_include_directories(tst_send_oscdump PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/support")
