osc_add_test(tst_fixtures SOURCES tst_fixtures.cpp LIBRARIES oscdesk_backend)
