# Install rules and the CMake package a host finds with find_package(DsCore).
#
# The companion stand-ins stay separate shared libraries, installed beside
# libdscore, so that the real companion libraries can replace them file by
# file. Each installed library finds its siblings through a run path relative
# to its own folder ($ORIGIN): the installed tree works wherever the prefix is,
# without LD_LIBRARY_PATH and whatever run path the host's program has.
include(CMakePackageConfigHelpers)

set(_dscore_shared_libs dscore dscore_csv qz_com qz_log qz_math qz_dom)
set(_dscore_header_only_libs qz_std qz_ds qz_ovlib)

if(APPLE)
  set(_dscore_origin "@loader_path")
else()
  set(_dscore_origin "$ORIGIN")
endif()
set_target_properties(${_dscore_shared_libs} PROPERTIES INSTALL_RPATH "${_dscore_origin}")

install(TARGETS ${_dscore_shared_libs} ${_dscore_header_only_libs} EXPORT DsCoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Public headers: every header of these folders is part of the installed
# interface (DsCore's own and the stand-ins' that they include). Private
# headers live beside the sources, never under include/; a new folder under
# include/ must be added here.
set(_dscore_public_header_dirs qz_dsc qz_com qz_dom qz_ds qz_log qz_math qz_ovlib qz_std)
file(GLOB _dscore_include_entries RELATIVE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/include/*)
foreach(entry IN LISTS _dscore_include_entries)
  if(NOT entry IN_LIST _dscore_public_header_dirs)
    message(FATAL_ERROR "include/${entry} is not a listed public header folder (cmake/DsCoreInstall.cmake)")
  endif()
endforeach()
foreach(dir IN LISTS _dscore_public_header_dirs)
  file(GLOB _dscore_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/${dir}/*.h)
  install(FILES ${_dscore_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${dir})
endforeach()

install(EXPORT DsCoreTargets NAMESPACE qz:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DsCore)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/DsCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/DsCoreConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DsCore)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DsCoreConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DsCoreConfig.cmake ${PROJECT_BINARY_DIR}/DsCoreConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DsCore)

# The installed tree, used the way a host uses it: install into a scratch
# prefix, build the host example against it with find_package(DsCore), run it.
if(DSCORE_BUILD_TESTS)
  set(_dscore_host_flags "")
  if(DSCORE_SANITIZE)
    set(_dscore_host_flags "-fsanitize=address,undefined -fno-omit-frame-pointer")
  endif()
  add_test(NAME InstalledPackage.HostBuildsAndRuns
    COMMAND ${CMAKE_COMMAND}
      -DBUILD_DIR=${PROJECT_BINARY_DIR}
      -DHOST_SOURCE_DIR=${PROJECT_SOURCE_DIR}/examples/host
      -DWORK_DIR=${PROJECT_BINARY_DIR}/install-test
      -DCONFIG=$<CONFIG>
      -DCXX=${CMAKE_CXX_COMPILER}
      -DHOST_FLAGS=${_dscore_host_flags}
      -DEXPECTED_OUTPUT_FILE=${PROJECT_SOURCE_DIR}/examples/host/expected_output.txt
      -P ${CMAKE_CURRENT_LIST_DIR}/InstallTest.cmake)
  set_tests_properties(InstalledPackage.HostBuildsAndRuns PROPERTIES TIMEOUT 600)
endif()

# The command-line tool, beside the libraries' folder and finding them
# through a run path relative to its own.
if(TARGET dscore_cli)
  set_target_properties(dscore_cli PROPERTIES INSTALL_RPATH "${_dscore_origin}/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS dscore_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
