# SPDX-License-Identifier: MIT
# One OBJECT library per room, one shared library out of all of them.
#
#   velta_room(<name> SOURCES ... [POSIX ...] [WINDOWS ...])

find_package(Threads REQUIRED)

# How our own code is compiled; never passed on to a consumer.
add_library(velta_options INTERFACE)
target_compile_features(velta_options INTERFACE cxx_std_20)
target_include_directories(velta_options INTERFACE "${PROJECT_SOURCE_DIR}")
if(MSVC)
  target_compile_options(velta_options INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus
                         $<$<BOOL:${VELTA_WERROR}>:/WX>)
else()
  target_compile_options(velta_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                         -Woverloaded-virtual
                         $<$<BOOL:${VELTA_WERROR}>:-Werror>)
endif()
if(WIN32)
  target_compile_definitions(velta_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
  if(NOT MSVC)
    target_compile_options(velta_options INTERFACE -Wno-nullability-completeness)
  endif()
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A library with unique symbols can never be unloaded.
  target_compile_options(velta_options INTERFACE -fno-gnu-unique)
endif()

set_property(GLOBAL PROPERTY VELTA_ROOMS "")

function(velta_room name)
  cmake_parse_arguments(room "" "" "SOURCES;POSIX;WINDOWS" ${ARGN})
  set(sources ${room_SOURCES})
  if(WIN32)
    list(APPEND sources ${room_WINDOWS})
  else()
    list(APPEND sources ${room_POSIX})
  endif()
  add_library(velta_${name} OBJECT ${sources})
  target_link_libraries(velta_${name} PRIVATE velta_options Threads::Threads)
  target_compile_definitions(velta_${name} PRIVATE VELTA_BUILDING)
  set_target_properties(velta_${name} PROPERTIES
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON
    MSVC_DEBUG_INFORMATION_FORMAT Embedded)  # in the objects, for the library's PDB
  set_property(GLOBAL APPEND PROPERTY VELTA_ROOMS velta_${name})
endfunction()

# What the framework itself needs of the platform.
if(WIN32)
  set(VELTA_SYSTEM_LIBRARIES ole32 user32 advapi32)
else()
  set(VELTA_SYSTEM_LIBRARIES Threads::Threads ${CMAKE_DL_LIBS})
endif()
