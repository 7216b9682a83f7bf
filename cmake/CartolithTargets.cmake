# What every target of this project shares: the language level, the warnings, and arithmetic that gives the
# same bits on every build (no contraction into fused multiply-add, whatever -march a packager adds).

# A private one must not be exported with the library: BUILD_INTERFACE keeps the flags at home.
add_library(CartolithBuildFlags INTERFACE)
target_compile_features(CartolithBuildFlags INTERFACE cxx_std_20)
target_compile_options(
  CartolithBuildFlags
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wold-style-cast
            -Wcast-align
            -Wconversion
            -Wsign-conversion
            -Wnull-dereference
            -ffp-contract=off
            -fstack-protector-strong
            # Debian's glibc warns where this is asked for without optimisation.
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>
            # Sources that are compiled as one seem to be headers of each other.
            $<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:${CARTOLITH_UNITY_BUILD}>>:-Wno-subobject-linkage>
            $<$<BOOL:${CARTOLITH_WARNINGS_AS_ERRORS}>:-Werror>)

# Addresses of functions are resolved at the start and then write-protected.
target_link_options(CartolithBuildFlags INTERFACE LINKER:-z,relro LINKER:-z,now)

# cartolith_precompile(<target> [<header>...]): the headers that nearly every source includes, compiled once for the
# target. Sources still include what they use: CARTOLITH_PRECOMPILED_HEADERS=OFF must build.
function(cartolith_precompile target)
  if(CARTOLITH_PRECOMPILED_HEADERS)
    target_precompile_headers(
      ${target} PRIVATE <algorithm> <cmath> <functional> <limits> <memory> <optional> <stdexcept> <vector> <QHash>
                        <QList> <QString> <QVariant> ${ARGN})
  endif()
endfunction()

# cartolith_test(<name> <sources>...): a GoogleTest program, each of its cases a ctest test. CARTOLITH_TEST_PROPERTIES
# are further properties of these tests.
function(cartolith_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE Cartolith::Core CartolithBuildFlags GTest::gmock GTest::gtest
                                        GTest::gtest_main)
  # A third of the time goes into making tests quick, which they need not be.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1>)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests" "${PROJECT_BINARY_DIR}/generated")
  # All of them are compiled alike, so that one set of headers serves.
  if(NOT CARTOLITH_PRECOMPILED_HEADERS)
  elseif(TARGET cartolith-common-tests AND NOT name STREQUAL "cartolith-common-tests")
    target_precompile_headers(${name} REUSE_FROM cartolith-common-tests)
  else()
    cartolith_precompile(${name} <gmock/gmock.h> <gtest/gtest.h> <random>)
  endif()
  if("${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_DEBUG}" MATCHES "fsanitize")
    # One process for all its tests: starting under the sanitizers takes longer than most of them. The long ones first.
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    list(LENGTH ARGN sources)
    set_tests_properties(${name} PROPERTIES TIMEOUT 3000 COST ${sources} ${CARTOLITH_TEST_PROPERTIES})
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${CARTOLITH_TEST_PROPERTIES})
  endif()
endfunction()

# Where data/ is, for tests and benchmarks: in a header, not on the command line, so that a compiler
# cache serves several checkouts.
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/generated/DataFolder.h" CONTENT
     "#pragma once\n#define CARTOLITH_DATA_DIR \"${PROJECT_SOURCE_DIR}/data\"\n")

# cartolith_benchmark(<name> <sources>...): a Google Benchmark program with the rivals linked in.
function(cartolith_benchmark name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE Cartolith::Core CartolithBuildFlags benchmark::benchmark PkgConfig::GEOS
                                        GDAL::GDAL)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/benchmarks" "${PROJECT_BINARY_DIR}/generated")
  target_compile_definitions(${name} PRIVATE CARTOLITH_DATA_DIR="${PROJECT_SOURCE_DIR}/data")
endfunction()
