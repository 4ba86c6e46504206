# Installs the library, its public headers, the CMake package KrFoundation and a pkg-config file.

include(CMakePackageConfigHelpers)

set(KR_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/KrFoundation")
set(KR_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS KrFoundation EXPORT KrFoundationTargets FILE_SET HEADERS)
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

# The prefix is given relative to the file, so that an installed tree may be moved.
file(RELATIVE_PATH KR_PREFIX_FROM_PKGCONFIG "/prefix/${KR_PKGCONFIG_DIR}" "/prefix")
configure_file("${PROJECT_SOURCE_DIR}/cmake/krfoundation.pc.in" "${PROJECT_BINARY_DIR}/krfoundation.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/krfoundation.pc" DESTINATION "${KR_PKGCONFIG_DIR}")
