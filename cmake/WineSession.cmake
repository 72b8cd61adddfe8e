# SPDX-License-Identifier: MIT
# Keeps one Windows process alive for the length of a ctest run.  Without it every test
# boots wine's services again (3-5 s each instead of 0.05 s).
# Tests opt in with the property FIXTURES_REQUIRED wine.
add_executable(wine_hold ${PROJECT_SOURCE_DIR}/tests/support/wine_hold.cpp)
add_test(NAME wine.session.start COMMAND ${PROJECT_SOURCE_DIR}/tools/zig/bin/wine-session
         start ${CMAKE_BINARY_DIR}/wine-session.pid $<TARGET_FILE:wine_hold>)
add_test(NAME wine.session.stop  COMMAND ${PROJECT_SOURCE_DIR}/tools/zig/bin/wine-session
         stop ${CMAKE_BINARY_DIR}/wine-session.pid)
set_tests_properties(wine.session.start PROPERTIES FIXTURES_SETUP wine)
set_tests_properties(wine.session.stop  PROPERTIES FIXTURES_CLEANUP wine)
