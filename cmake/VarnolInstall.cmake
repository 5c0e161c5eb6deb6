# What a user of the library gets: libVarnol.so, its headers, and how CMake and pkg-config find them.
# Nothing of it names the folder that it is installed into, so that it can be moved. Users include
# the headers by their path from the top of the tree, as the tree itself does.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# What only the library's own sources include is not installed.
set(varnol_internal_headers
  framework/fennic/FunctionName.h
  framework/zel/LineWriter.h
  framework/zel/Printable.h
  framework/zel/TraceRegistry.h
  platform/kolvu/FreeList.h
  syncers/CopiedScalars.h
  syncers/HandlerTrace.h)

list(TRANSFORM VARNOL_ROOMS REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/\\1/*.h" OUTPUT_VARIABLE varnol_patterns)
file(GLOB_RECURSE varnol_headers CONFIGURE_DEPENDS
  RELATIVE ${PROJECT_SOURCE_DIR} ${varnol_patterns})
foreach(header IN LISTS varnol_internal_headers)
  if(NOT header IN_LIST varnol_headers)
    message(FATAL_ERROR "${header} is to be kept from installing, and is not there.")
  endif()
endforeach()
list(REMOVE_ITEM varnol_headers ${varnol_internal_headers})
target_sources(Varnol PUBLIC
  FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${varnol_headers})

set(varnol_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Varnol)
install(TARGETS Varnol EXPORT VarnolTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT Varnol_Runtime NAMELINK_COMPONENT Varnol_Development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnol COMPONENT Varnol_Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnol)
install(EXPORT VarnolTargets NAMESPACE Varnol::
  DESTINATION ${varnol_package_folder} COMPONENT Varnol_Development)

# find_package(Varnol) also finds the build folder. A version is good for its major version, as the
# SONAME says.
export(EXPORT VarnolTargets NAMESPACE Varnol:: FILE ${PROJECT_BINARY_DIR}/VarnolTargets.cmake)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VarnolConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VarnolConfig.cmake
  INSTALL_DESTINATION ${varnol_package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VarnolConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/VarnolConfig.cmake ${PROJECT_BINARY_DIR}/VarnolConfigVersion.cmake
  DESTINATION ${varnol_package_folder} COMPONENT Varnol_Development)

# pkg-config takes paths from where varnol.pc lies; those that were given as absolute ones stay so.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE pc_prefix)
cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR} varnol)
configure_file(${CMAKE_CURRENT_LIST_DIR}/varnol.pc.in ${PROJECT_BINARY_DIR}/cmake/varnol.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmake/varnol.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Varnol_Development)
