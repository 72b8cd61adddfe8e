# SPDX-License-Identifier: MIT
# An overlay port: it stands in the sources that it builds.
#   vcpkg install velta --overlay-ports=<checkout>/packaging/vcpkg
# What is installed is known by this folder's content only: after a change of the sources it must be
# removed first, and installed with --binarysource=clear.
vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY ONLY_DYNAMIC_CRT)
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DVELTA_TESTS=OFF -DVELTA_EXAMPLES=OFF -DVELTA_TOOLS=OFF -DVELTA_INSTALL=ON)
vcpkg_cmake_install()
vcpkg_copy_pdbs()
vcpkg_cmake_config_fixup(PACKAGE_NAME Velta CONFIG_PATH lib/cmake/Velta)
if(NOT VCPKG_TARGET_IS_WINDOWS)
  vcpkg_fixup_pkgconfig()
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
