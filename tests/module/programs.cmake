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
zem_add_test_module(test_module_throwing TEST_MODULE_THROWS)

# Both need another module's file; the second has no entry points but those of that file.
zem_add_test_module(test_module_dependent)
zem_add_test_module(test_module_bare TEST_MODULE_WITHOUT_ENTRY_POINTS)
foreach(target test_module_dependent test_module_bare)
    target_link_libraries(${target} PRIVATE zem_db)
    target_link_options(${target} PRIVATE LINKER:--no-as-needed)
endforeach()

target_compile_definitions(${ZEM_TEST_TARGET} PRIVATE
    "ZEM_TEST_MODULE_DIR=\"${CMAKE_LIBRARY_OUTPUT_DIRECTORY}\"")
target_link_libraries(${ZEM_TEST_TARGET} PRIVATE ${CMAKE_DL_LIBS})
