# SPDX-License-Identifier: MIT
# What holds for every target of this build, the test framework included: compiler cache,
# sanitizers, assertions, C++ runtime. Nothing of it reaches a project that adds this one as a part.

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_HOST_WIN32 AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(VELTA_CCACHE ccache)
  if(VELTA_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${VELTA_CCACHE}")
    if(MINGW AND CMAKE_CROSSCOMPILING)
      # The Windows compiler is a script of this checkout: its own version counts, not the script's.
      list(PREPEND CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env CCACHE_COMPILERTYPE=clang
           "CCACHE_COMPILERCHECK=string:zig-${CMAKE_CXX_COMPILER_VERSION}")
    endif()
  endif()
endif()

if(VELTA_SANITIZE STREQUAL "address")
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(VELTA_SANITIZE STREQUAL "thread")
  set(sanitizers -fsanitize=thread)
elseif(VELTA_SANITIZE)
  message(FATAL_ERROR "VELTA_SANITIZE is \"${VELTA_SANITIZE}\"; known: address, thread")
endif()
if(VELTA_SANITIZE)
  add_compile_options(${sanitizers} -fno-omit-frame-pointer)
  add_link_options(${sanitizers})
endif()

if(VELTA_ASSERTIONS)
  add_compile_definitions(VELTA_ASSERTIONS)
endif()

if(VELTA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(VELTA_SHARED_LIBCXX)
  if(NOT (WIN32 AND CMAKE_CROSSCOMPILING))
    message(FATAL_ERROR "VELTA_SHARED_LIBCXX is for the Windows cross-build only")
  endif()
  set(runtime "${CMAKE_BINARY_DIR}/libcxx")
  if(NOT EXISTS "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/c++.dll")
    message(STATUS "Building the shared C++ runtime")
    execute_process(COMMAND "${PROJECT_SOURCE_DIR}/cmake/make-cxx-dll.sh" "${runtime}"
                    COMMAND_ERROR_IS_FATAL ANY)
    file(COPY "${runtime}/c++.dll" DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  endif()
  add_link_options(-nostdlib++)
  string(APPEND CMAKE_CXX_STANDARD_LIBRARIES
         " \"${runtime}/new.obj\" \"${runtime}/tatexit.obj\" \"${runtime}/libc++.dll.a\"")
endif()
