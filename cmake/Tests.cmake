# `zorvel_tests(name LINKS targets...)` makes one GoogleTest program of every .cpp of the current folder.

include(GoogleTest)

function(zorvel_tests name)
  cmake_parse_arguments(TESTS "" "" "LINKS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_tests ${sources})
  # Each file of tests has helpers under names of its own choice. Most of the compiler's time would go into
  # making fast what runs once.
  set_target_properties(${name}_tests PROPERTIES UNITY_BUILD OFF)
  target_compile_options(${name}_tests PRIVATE -O0)
  target_include_directories(${name}_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name}_tests PRIVATE zorvel_flags ${TESTS_LINKS} GTest::gtest GTest::gtest_main)
  target_compile_definitions(
    ${name}_tests
    PRIVATE ZORVEL_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ZORVEL_BINARY_DIR="${PROJECT_BINARY_DIR}")
  gtest_discover_tests(${name}_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 1800)
endfunction()
