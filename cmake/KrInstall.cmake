# Installs the library, its public headers, the CMake package KrFoundation and a pkg-config file.

include(CMakePackageConfigHelpers)

set(KR_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/KrFoundation")
set(KR_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS KrFoundation EXPORT KrFoundationTargets FILE_SET HEADERS)
if(TARGET KrConditions)
  install(TARGETS KrConditions EXPORT KrFoundationTargets FILE_SET HEADERS)
endif()
install(EXPORT KrFoundationTargets NAMESPACE KrFoundation:: DESTINATION "${KR_CMAKE_DIR}")

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/KrFoundationConfig.cmake.in" "${PROJECT_BINARY_DIR}/KrFoundationConfig.cmake"
  INSTALL_DESTINATION "${KR_CMAKE_DIR}")
# Releases that differ in the second number may differ in their binary interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KrFoundationConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KrFoundationConfig.cmake" "${PROJECT_BINARY_DIR}/KrFoundationConfigVersion.cmake"
  "${PROJECT_SOURCE_DIR}/cmake/KrAddPlugin.cmake"
  DESTINATION "${KR_CMAKE_DIR}")

# Pretty printers: gdb loads the second copy by itself where it is installed under the same prefix.
set(KR_GDB_PRINTERS "${PROJECT_SOURCE_DIR}/tools/gdb/kr_printers.py")
install(FILES "${KR_GDB_PRINTERS}" DESTINATION "${CMAKE_INSTALL_DATADIR}/KrFoundation/gdb")
install(FILES "${KR_GDB_PRINTERS}" DESTINATION "${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}"
  RENAME "libKrFoundation.so.${PROJECT_VERSION}-gdb.py")

# The prefix is given relative to the file, so that an installed tree may be moved.
file(RELATIVE_PATH KR_PREFIX_FROM_PKGCONFIG "/prefix/${KR_PKGCONFIG_DIR}" "/prefix")
configure_file("${PROJECT_SOURCE_DIR}/cmake/krfoundation.pc.in" "${PROJECT_BINARY_DIR}/krfoundation.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/krfoundation.pc" DESTINATION "${KR_PKGCONFIG_DIR}")
if(TARGET KrConditions)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/krconditions.pc.in" "${PROJECT_BINARY_DIR}/krconditions.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/krconditions.pc" DESTINATION "${KR_PKGCONFIG_DIR}")
endif()
