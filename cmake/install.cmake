# Installed tree: library, header, pkg-config file, CMake package. Each file belongs to a component,
# of which cmake/packages.cmake makes a package.

include(CMakePackageConfigHelpers)

install(TARGETS zeldc EXPORT zeldcTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/include/zeldc.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT dev)

set(zeldc_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeldc)
install(EXPORT zeldcTargets NAMESPACE zeldc:: DESTINATION ${zeldc_cmake_dir} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zeldcConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zeldcConfig.cmake INSTALL_DESTINATION ${zeldc_cmake_dir})
# Compares the word size as well: a 32-bit package is not taken for a 64-bit project.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zeldcConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeldcConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zeldcConfigVersion.cmake DESTINATION ${zeldc_cmake_dir}
  COMPONENT dev)

# Found from where the file lies, so that the tree may be installed anywhere.
file(RELATIVE_PATH zeldc_prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zeldc.pc.in ${CMAKE_CURRENT_BINARY_DIR}/zeldc.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeldc.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
