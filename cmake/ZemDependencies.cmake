# Third-party packages, all from the distribution. scripts/install_deps.sh installs them.

find_package(SQLite3 REQUIRED)
find_package(ZLIB REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

if(ZEM_BUILD_TESTS)
    find_package(GTest REQUIRED)
    find_package(rapidcheck REQUIRED)
    include(GoogleTest)
endif()
if(ZEM_BUILD_BENCHMARKS)
    find_package(benchmark REQUIRED)
endif()

# Open CASCADE by its include folder and plain library names: its own package file asks for the
# development packages of every module, with the viewers and the test harness.
find_path(ZEM_OCCT_INCLUDE_DIR Standard.hxx PATH_SUFFIXES opencascade REQUIRED)

# zem_add_occt(<target> <library>...): an interface target of some of its libraries.
function(zem_add_occt target)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE "${ZEM_OCCT_INCLUDE_DIR}")
    target_link_libraries(${target} INTERFACE ${ARGN})
endfunction()

zem_add_occt(zem_occt_model
    TKernel TKMath TKG2d TKG3d TKGeomBase TKBRep TKGeomAlgo TKTopAlgo TKPrim TKBO TKBool
    TKShHealing TKFillet TKOffset TKMesh)
zem_add_occt(zem_occt_exchange TKSTEP TKSTEPAttr TKSTEP209 TKSTEPBase TKXSBase)
zem_add_occt(zem_occt_documents TKCDF TKLCAF TKCAF TKBinL TKBin)
