# The database tests' helpers: reactors that record notices, and drawings stored in memory.
target_sources(${ZEM_TEST_TARGET} PRIVATE "${PROJECT_SOURCE_DIR}/tests/db/db_test_support.cpp")
