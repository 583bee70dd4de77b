# Debian packages of the installed tree: `cpack -G DEB` in the build folder. Those for distribution
# are built with -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib/i386-linux-gnu.

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library dev)
if(ZELDC_BUILD_TOOL)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_VENDOR "The zeldc developers")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The zeldc developers <zeldc@localhost>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

# The dependencies are named here: a search for the packages of 32-bit libraries finds those of the
# build machine's other word size. A test compares them with the symbols that the files ask for.
set(zeldc_same_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzeldct7-${PROJECT_VERSION})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS libc6)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "lossless compression primitives
Stages of deflate, of a bzip2-family block sorter and of other coders, for
applications that assemble formats of their own.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzeldct7-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} ${zeldc_same_version}")
set(CPACK_DEBIAN_DEV_DESCRIPTION "lossless compression primitives (development files)
The header of libzeldct7, and what pkg-config and CMake need to find it.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zeldc)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} ${zeldc_same_version},\
 libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 12)")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "compress and restore .gz and .bz2 files
With the habits of gzip and bzip2, on several threads; also measures every
chain of the stages of libzeldct7 on a file.")

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()

# The loader's cache has to learn of the library.
file(WRITE ${CMAKE_BINARY_DIR}/packages/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/packages/triggers)

include(CPack)
