# SPDX-License-Identifier: MIT
# What is installed, in components: "runtime" is what a program needs beside it, "development" is
# what a program is built with, "tools" is for who reads a program's logs. `cpack` makes one archive.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Velta")
install(TARGETS velta EXPORT VeltaTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime
          NAMELINK_COMPONENT development
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT VeltaTargets NAMESPACE Velta:: DESTINATION "${package_dir}" COMPONENT development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/velta" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN internal EXCLUDE PATTERN posix EXCLUDE)

configure_package_config_file("${PROJECT_SOURCE_DIR}/packaging/VeltaConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/VeltaConfig.cmake" INSTALL_DESTINATION "${package_dir}")
# Before 1.0 a new minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VeltaConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VeltaConfig.cmake"
              "${PROJECT_BINARY_DIR}/VeltaConfigVersion.cmake"
  DESTINATION "${package_dir}" COMPONENT development)

if(WIN32)
  set(pdb "$<TARGET_FILE_DIR:velta>/velta.pdb")
  if(MSVC)
    set(pdb "$<TARGET_PDB_FILE:velta>")
  endif()
  install(FILES "${pdb}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT development)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/velta.natvis"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/velta" COMPONENT development)
else()
  # Found from where the file itself lies, so that the whole may be moved.
  file(RELATIVE_PATH prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
  set(libdir "\${prefix}")
  cmake_path(APPEND libdir "${CMAKE_INSTALL_LIBDIR}")  # unless it is a whole path by itself
  set(includedir "\${prefix}")
  cmake_path(APPEND includedir "${CMAKE_INSTALL_INCLUDEDIR}")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/velta.pc.in" "${PROJECT_BINARY_DIR}/velta.pc"
    @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/velta.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT development)
endif()
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
  COMPONENT runtime)

if(NOT PROJECT_IS_TOP_LEVEL)
  return()  # the archives are the whole project's
endif()
set(CPACK_PACKAGE_NAME velta)
set(CPACK_PACKAGE_VENDOR Velta)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_VERBATIM_VARIABLES ON)
set(processor x64)
if("${CMAKE_SYSTEM_PROCESSOR} ${CMAKE_GENERATOR_PLATFORM}" MATCHES "(^| )(ARM64|aarch64)( |$)")
  set(processor arm64)
endif()
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME windows-${processor})
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_SYSTEM_NAME linux-${processor})
  set(CPACK_STRIP_FILES ON)
endif()
include(CPack)
