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
            $<$<BOOL:${CARTOLITH_WARNINGS_AS_ERRORS}>:-Werror>)

# cartolith_test(<name> <sources>...): a GoogleTest program, each of its cases a ctest test. CARTOLITH_TEST_PROPERTIES
# are further properties of these tests.
function(cartolith_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE Cartolith::Core CartolithBuildFlags GTest::gmock GTest::gtest
                                        GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(${name} PRIVATE CARTOLITH_DATA_DIR="${PROJECT_SOURCE_DIR}/data")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${CARTOLITH_TEST_PROPERTIES})
endfunction()

# cartolith_benchmark(<name> <sources>...): a Google Benchmark program with the rivals linked in.
function(cartolith_benchmark name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE Cartolith::Core CartolithBuildFlags benchmark::benchmark PkgConfig::GEOS
                                        GDAL::GDAL)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/benchmarks")
  target_compile_definitions(${name} PRIVATE CARTOLITH_DATA_DIR="${PROJECT_SOURCE_DIR}/data")
endfunction()
