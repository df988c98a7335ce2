# Language level, build options, output folders and tools that hold for every target.

option(ZEM_BUILD_TESTS "Build the tests" ON)
option(ZEM_BUILD_BENCHMARKS "Build the benchmarks" ON)
option(ZEM_BUILD_FUZZERS "Build the fuzz programs" ON)
option(ZEM_FUZZ "Instrument everything for libFuzzer (clang only)" OFF)
set(ZEM_SANITIZE "" CACHE STRING "Sanitizers for every target, such as address,undefined")
set(ZEM_DEBUG_INFO_LEVEL "1" CACHE STRING
    "Debug information of debug builds: 1 gives lines in stack traces, 2 also variables")

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

include(GNUInstallDirs)

# The build tree is laid out as the installed one, so that a program finds the module beside its
# libraries (../lib from the program) in both.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")

find_program(ZEM_CCACHE ccache)
if(ZEM_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${ZEM_CCACHE}")
endif()

# The faster linkers, where one is installed.
include(CheckLinkerFlag)
foreach(linker IN ITEMS mold lld)
    check_linker_flag(CXX "-fuse-ld=${linker}" ZEM_HAS_LINKER_${linker})
    if(ZEM_HAS_LINKER_${linker})
        add_link_options("-fuse-ld=${linker}")
        break()
    endif()
endforeach()
add_link_options("LINKER:--as-needed")

# Unique symbols would keep the module's file in the process after it was closed.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fno-gnu-unique ZEM_HAS_NO_GNU_UNIQUE)
if(ZEM_HAS_NO_GNU_UNIQUE)
    add_compile_options(-fno-gnu-unique)
endif()

# No program replaces functions of our libraries, so calls inside one need not go through its table;
# clang++ sees it so by itself.
add_compile_options(
    "$<$<AND:$<NOT:$<CONFIG:Debug>>,$<CXX_COMPILER_ID:GNU>>:-fno-semantic-interposition>")

add_compile_options("$<$<CONFIG:Debug>:-g${ZEM_DEBUG_INFO_LEVEL}>")
add_compile_definitions("$<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>")

if(ZEM_FUZZ AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZEM_FUZZ needs clang")
endif()
if(ZEM_SANITIZE)
    # The leak check looks into the thread-local blocks that it saw being made, and crashes where the
    # file that they belonged to is unloaded by then, as the module is. Blocks made at load time are
    # not among them.
    add_compile_options(-ftls-model=initial-exec)
    add_compile_options("-fsanitize=${ZEM_SANITIZE}" -fno-sanitize-recover=all
        -fno-omit-frame-pointer -O1)
    add_link_options("-fsanitize=${ZEM_SANITIZE}")
else()
    # Clang links the sanitizers into programs only, so that their libraries have open symbols.
    set(CMAKE_SHARED_LINKER_FLAGS "${CMAKE_SHARED_LINKER_FLAGS} -Wl,-z,defs")
endif()
if(ZEM_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()
