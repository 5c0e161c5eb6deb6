# The Debian packages, which cpack makes of what is installed: libvarnol0 has the library,
# libvarnol-dev what is needed to build with it, stp-agent the agent, varnol-tools the tools. Asked for
# by VARNOL_PACKAGES, which the preset "package" sets with the folders that Debian has.
#
# The name of the first has the number of the SONAME: a library with another number is another
# package, and both can be installed.
set(debian ${CMAKE_CURRENT_LIST_DIR}/debian)
set(library_package libvarnol${PROJECT_VERSION_MAJOR})
set(revision 1)
set(version ${PROJECT_VERSION}-${revision})

find_program(GZIP gzip REQUIRED)
find_program(DPKG_PARSECHANGELOG dpkg-parsechangelog REQUIRED)
execute_process(COMMAND ${DPKG_PARSECHANGELOG} -l ${debian}/changelog -S Version
  OUTPUT_VARIABLE changelog_version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT changelog_version STREQUAL version)
  message(FATAL_ERROR
    "The packages would be of version ${version}; cmake/debian/changelog ends with ${changelog_version}.")
endif()
execute_process(COMMAND ${DPKG_PARSECHANGELOG} -l ${debian}/changelog -S Maintainer
  OUTPUT_VARIABLE maintainer OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

execute_process(COMMAND ${DPKG_PARSECHANGELOG} -l ${debian}/changelog -S Timestamp
  OUTPUT_VARIABLE changed OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

# Packages of the same files are the same: their files are as old as the changelog's last entry.
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/cmake/PackageTime.cmake)
file(WRITE ${CPACK_PROJECT_CONFIG_FILE} "if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  set(ENV{SOURCE_DATE_EPOCH} ${changed})
endif()
")

# Without a name and a time in it, so that it is the same every time.
set(changelog ${PROJECT_BINARY_DIR}/cmake/changelog.Debian.gz)
execute_process(COMMAND ${GZIP} -9nc ${debian}/changelog
  OUTPUT_FILE ${changelog} COMMAND_ERROR_IS_FATAL ANY)

# varnol_package(COMPONENT NAME COPYRIGHT SECTION DESCRIPTION): one package of one component. The
# description's first line is the short one.
function(varnol_package component name copyright section description)
  install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component})
  install(FILES ${debian}/${copyright} RENAME copyright
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
endfunction()

varnol_package(Varnol_Runtime ${library_package} library.copyright libs
  "spanning-tree status mirroring and BPDU frames
What the spanning-tree service of a switch loads: syncers, which keep one
tree of BPDU records equal to another, and RST BPDU frames made of records
(IEEE 802.1D-2004).
.
This package has the shared library.")
varnol_package(Varnol_Development libvarnol-dev library.copyright libdevel
  "spanning-tree status mirroring and BPDU frames - development files
What the spanning-tree service of a switch loads: syncers, which keep one
tree of BPDU records equal to another, and RST BPDU frames made of records
(IEEE 802.1D-2004).
.
This package has what programs are built with: the headers, what CMake and
pkg-config find the library by, and examples.")
varnol_package(StpAgent stp-agent programs.copyright net
  "small RSTP agent on top of libVarnol
Speaks RSTP frames with the bridges on its interfaces, and shows what it heard
from them: it says what it is told to say, runs no state machine and blocks no
port. It also replays captures.")
varnol_package(VarnolTools varnol-tools programs.copyright utils
  "tools for those who run what uses libVarnol
Has varnol-trace, which reads the library's binary traces without stopping the
process that writes them, or after it was killed: what it did and was doing,
where its time went, and what triggered what. It also exports them, for
Perfetto and as CTF.")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${debian}/changelog)

# varnol_manual(COMPONENT PAGE): a manual page, compressed, of commands.
function(varnol_manual component page)
  get_filename_component(name ${page} NAME)
  set(compressed ${PROJECT_BINARY_DIR}/cmake/${name}.gz)
  execute_process(COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/${page}
    OUTPUT_FILE ${compressed} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${page})
  install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()

varnol_manual(StpAgent agent/stp-agent.1)
varnol_manual(VarnolTools tools/trace/varnol-trace.1)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/service/
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libvarnol-dev/examples COMPONENT Varnol_Development)

# The library's users need at least the version that they were built with: what is added later keeps
# the SONAME.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_VARNOL_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_VARNOL_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${version})")
# A trigger has ldconfig run. CPack would make scripts that run it once more, unless it is given some;
# of files that are given and not there it takes the names alone.
set(CPACK_DEBIAN_VARNOL_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${debian}/triggers ${debian}/no/postinst ${debian}/no/postrm)

# dpkg-shlibdeps does not know the library's package, which is not installed; tests/package/debian.sh
# sees to it that this is what it would say.
set(CPACK_DEBIAN_STPAGENT_PACKAGE_DEPENDS "${library_package} (>= ${version})")
set(CPACK_DEBIAN_STPAGENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_VARNOLTOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL Varnol_Runtime Varnol_Development StpAgent VarnolTools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE varnol)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${maintainer})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${revision})
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_VENDOR Varnol)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
