# Functions that make the project's targets from its folders.

# What every target of ours is compiled with. Third-party headers come in as system headers and stay
# outside of it.
add_library(zem_warnings INTERFACE)
target_compile_options(zem_warnings INTERFACE
    -Werror
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wnon-virtual-dtor
    -Wold-style-cast
    -Wcast-align
    -Woverloaded-virtual
    -Wundef
    -Wunused
    -Wextra-semi
    -Wformat=2
    -Wimplicit-fallthrough
    -Wdouble-promotion
    -Wredundant-decls
    -Wvla)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(zem_warnings INTERFACE
        -Wduplicated-cond -Wlogical-op -Wsuggest-override
        # g++ 12 sees overlaps of 2^63 bytes in plain concatenations of std::string.
        -Wno-restrict
        # Optimized, it takes the branch on a counter of references for one on freed memory.
        -Wno-use-after-free)
    if(ZEM_SANITIZE)
        # Under sanitizers it takes members of std::regex for uninitialized.
        target_compile_options(zem_warnings INTERFACE -Wno-maybe-uninitialized)
    endif()
else()
    target_compile_options(zem_warnings INTERFACE
        -Winconsistent-missing-override -Wheader-hygiene -Wloop-analysis -Wthread-safety)
endif()

# Libraries and programs also refuse conversions that lose values; tests may spell bytes as they
# like.
add_library(zem_strict_warnings INTERFACE)
target_link_libraries(zem_strict_warnings INTERFACE zem_warnings)
target_compile_options(zem_strict_warnings INTERFACE -Wconversion -Wno-sign-conversion)

# zem_glob(<variable>): the sources of the current folder, in a fixed order.
function(zem_glob variable)
    file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
    list(SORT sources)
    set(${variable} "${sources}" PARENT_SCOPE)
endfunction()

# zem_existing(<variable> <target>...): those of the targets that exist.
function(zem_existing variable)
    set(found "")
    foreach(name IN LISTS ARGN)
        if(TARGET ${name})
            list(APPEND found ${name})
        endif()
    endforeach()
    set(${variable} "${found}" PARENT_SCOPE)
endfunction()

# zem_add_library(<target> FOLDER <folder> INCLUDE_ROOT <folder> USES <target>...
#                 [PRIVATE_LIBRARIES <library>...])
#
# A shared library of all sources of a folder. USES lists every lower layer that it may use. Nothing
# is made of a folder without sources.
function(zem_add_library target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER;INCLUDE_ROOT" "USES;PRIVATE_LIBRARIES")
    file(GLOB sources CONFIGURE_DEPENDS "${arg_FOLDER}/*.cpp")
    list(SORT sources)
    if(NOT sources)
        return()
    endif()
    zem_existing(uses ${arg_USES})
    add_library(${target} SHARED ${sources})
    add_library(zem_db::${target} ALIAS ${target})
    target_include_directories(${target} PUBLIC
        "$<BUILD_INTERFACE:${arg_INCLUDE_ROOT}>"
        "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zem_db>")
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_link_libraries(${target}
        PUBLIC ${uses}
        PRIVATE "$<BUILD_INTERFACE:zem_strict_warnings>" ${arg_PRIVATE_LIBRARIES})
    zem_install_library(${target})
    zem_install_headers("${arg_FOLDER}" "")
endfunction()

# zem_install_library(<target>): installs a library and lists it in the package.
function(zem_install_library target)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS ${target} EXPORT zem_db_targets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    set_property(GLOBAL APPEND PROPERTY ZEM_INSTALLED_TARGETS ${target})
endfunction()

# zem_install_headers(<folder> <rename>): installs a folder's public headers under its own name, or
# another.
function(zem_install_headers folder rename)
    if(rename STREQUAL "")
        get_filename_component(rename "${folder}" NAME)
    endif()
    install(DIRECTORY "${folder}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zem_db/${rename}"
        FILES_MATCHING PATTERN "*.h" PATTERN "*_impl.h" EXCLUDE)
endfunction()

# zem_use_sanitizer_options(<program>): options of the sanitizers' run time for a program of ours.
function(zem_use_sanitizer_options target)
    if(ZEM_SANITIZE)
        target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/sanitizer_options.cpp")
    endif()
endfunction()

# zem_add_tests(<folder> USES <target>... [NEEDS <target>...] [LIBRARIES <library>...])
#
# One test program, <folder>_tests, of a folder under tests/. It is made once all of USES exist, and
# is built after NEEDS, which it opens or starts at run time. A file programs.cmake in the folder may
# add helper programs and is included with ZEM_TEST_TARGET set.
function(zem_add_tests folder)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "USES;NEEDS;LIBRARIES")
    set(source_dir "${PROJECT_SOURCE_DIR}/tests/${folder}")
    file(GLOB sources CONFIGURE_DEPENDS "${source_dir}/*.cpp")
    list(FILTER sources EXCLUDE REGEX "_program\\.cpp$")
    list(SORT sources)
    zem_existing(uses ${arg_USES})
    if(NOT sources OR NOT uses STREQUAL "${arg_USES}")
        return()
    endif()
    set(target ${folder}_tests)
    add_executable(${target} ${sources})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    target_compile_definitions(${target} PRIVATE
        "ZEM_MODULE_PATH=\"${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/zem_db.tx\""
        "ZEM_HOST_PATH=\"${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/zemhost\""
        "ZEM_TEST_PROGRAM_DIR=\"${CMAKE_RUNTIME_OUTPUT_DIRECTORY}\""
        "ZEM_TEST_DATA_DIR=\"${source_dir}/data\"")
    target_link_libraries(${target} PRIVATE ${uses} ${arg_LIBRARIES} zem_warnings
        GTest::gtest GTest::gmock GTest::gtest_main rapidcheck)
    zem_use_sanitizer_options(${target})
    if(ZEM_SANITIZE)
        # Optimizing instrumented tests takes longer than running them as they are.
        target_compile_options(${target} PRIVATE -O0)
    elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "Release")
        # Optimized, g++ 12 follows comparisons of short arrays and texts past their ends.
        target_compile_options(${target} PRIVATE
            -Wno-array-bounds -Wno-stringop-overread -Wno-stringop-overflow)
    endif()
    zem_existing(needs ${arg_NEEDS})
    if(needs)
        add_dependencies(${target} ${needs})
    endif()
    # Random tests draw the same sequences in each run; scripts/random_tests.sh draws others.
    gtest_discover_tests(${target}
        TEST_PREFIX "${folder}/"
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 300 LABELS ${folder} ENVIRONMENT RC_PARAMS=seed=1)
    set(ZEM_TEST_TARGET ${target})
    include("${source_dir}/programs.cmake" OPTIONAL)
endfunction()

# zem_add_test_program(<target> SOURCES <file>... [LIBRARIES <library>...])
#
# A helper program that the tests of ZEM_TEST_TARGET start; called from a folder's programs.cmake.
# Its sources end in _program.cpp and lie in the folder. Tests find it in ZEM_TEST_PROGRAM_DIR.
function(zem_add_test_program target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
    list(TRANSFORM arg_SOURCES PREPEND "${source_dir}/")
    add_executable(${target} ${arg_SOURCES})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    target_link_libraries(${target} PRIVATE ${arg_LIBRARIES} zem_warnings)
    zem_use_sanitizer_options(${target})
    add_dependencies(${ZEM_TEST_TARGET} ${target})
endfunction()
