# Installed tree: library, header, pkg-config file, CMake package.

include(CMakePackageConfigHelpers)

install(TARGETS zeldc EXPORT zeldcTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/zeldc.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(zeldc_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeldc)
install(EXPORT zeldcTargets NAMESPACE zeldc:: DESTINATION ${zeldc_cmake_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zeldcConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zeldcConfig.cmake INSTALL_DESTINATION ${zeldc_cmake_dir})
# Compares the word size as well: a 32-bit package is not taken for a 64-bit project.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zeldcConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeldcConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zeldcConfigVersion.cmake DESTINATION ${zeldc_cmake_dir})

configure_file(${CMAKE_CURRENT_LIST_DIR}/zeldc.pc.in ${CMAKE_CURRENT_BINARY_DIR}/zeldc.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeldc.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
