# A second process that opens, holds and changes drawings.
zem_add_test_program(store_drawing_tool
    SOURCES drawing_tool_program.cpp drawing_test_support.cpp
    LIBRARIES od_store GTest::gtest)
