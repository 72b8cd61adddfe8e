# SPDX-License-Identifier: MIT
# GoogleTest from Debian's shipped source, compiled for the target at hand; elsewhere from where
# find_package finds it.
#
#   velta_test(<name> SOURCES ... [LIBRARIES ...] [LABELS ...] [RESOURCE_LOCK ...])
# links every object of the framework unless LIBRARIES says otherwise.

include(GoogleTest)
find_path(VELTA_GTEST_SOURCE CMakeLists.txt PATHS /usr/src/googletest
          NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(VELTA_GTEST_SOURCE)
  set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory("${VELTA_GTEST_SOURCE}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
  foreach(library gtest gtest_main gmock gmock_main)
    target_compile_options(${library} PRIVATE -w)
  endforeach()
else()
  find_package(GTest CONFIG REQUIRED GLOBAL)  # for the tests of all folders
endif()

# Properties of every test that runs a program of the target; the examples' tests use them too.
set(VELTA_TEST_FIXTURE "" CACHE INTERNAL "")
if(WIN32 AND CMAKE_CROSSCOMPILING_EMULATOR)
  include(WineSession)
  set(VELTA_TEST_FIXTURE FIXTURES_REQUIRED wine CACHE INTERNAL "")
endif()

function(velta_test name)
  cmake_parse_arguments(test "" "RESOURCE_LOCK" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(NOT test_LIBRARIES)
    set(test_LIBRARIES velta_internals)
  endif()
  add_executable(${name} ${test_SOURCES})
  target_link_libraries(${name} PRIVATE ${test_LIBRARIES} velta_options GTest::gmock_main)
  set_target_properties(${name} PROPERTIES
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    return()  # that it links is all that can be asked of it
  endif()
  if(CMAKE_CROSSCOMPILING AND NOT WIN32)  # Wine runs the processor's own code
    target_compile_definitions(${name} PRIVATE VELTA_TEST_EMULATED)
  endif()
  set(properties TIMEOUT 300 ${VELTA_TEST_FIXTURE})
  if(test_RESOURCE_LOCK)
    list(APPEND properties RESOURCE_LOCK ${test_RESOURCE_LOCK})
  endif()
  if(test_LABELS)
    list(APPEND properties LABELS ${test_LABELS})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                       PROPERTIES ${properties})
endfunction()
