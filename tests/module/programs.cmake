# Small modules that the loader's tests load: each differs from a good one in one thing.

# zem_add_test_module(<target> <definition>...)
function(zem_add_test_module target)
    add_library(${target} MODULE "${source_dir}/test_module_program.cpp")
    set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX .tx)
    target_compile_definitions(${target} PRIVATE ${ARGN})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    target_link_libraries(${target} PRIVATE od_root zem_warnings)
    add_dependencies(${ZEM_TEST_TARGET} ${target})
endfunction()

zem_add_test_module(test_module_good)
zem_add_test_module(test_module_other_version TEST_MODULE_MINOR=2)
zem_add_test_module(test_module_without_object TEST_MODULE_WITHOUT_OBJECT)
zem_add_test_module(test_module_failing TEST_MODULE_FAILS)

target_compile_definitions(${ZEM_TEST_TARGET} PRIVATE
    "ZEM_TEST_MODULE_DIR=\"${CMAKE_LIBRARY_OUTPUT_DIRECTORY}\"")
target_link_libraries(${ZEM_TEST_TARGET} PRIVATE ${CMAKE_DL_LIBS})
