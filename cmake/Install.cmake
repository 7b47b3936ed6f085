# What `cmake --install` puts where. Nothing in an installed tree holds an absolute path, so that it
# works wherever it is moved to.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/reinokeitro")
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS reinokeitro EXPORT reinokeitro
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/Src/"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/reinokeitro"
  FILES_MATCHING PATTERN "*.h" PATTERN detail EXCLUDE)

install(EXPORT reinokeitro
  NAMESPACE reinokeitro::
  FILE reinokeitro-targets.cmake
  DESTINATION "${package_dir}")
configure_package_config_file(cmake/reinokeitro-config.cmake.in
  "${PROJECT_BINARY_DIR}/reinokeitro-config.cmake"
  INSTALL_DESTINATION "${package_dir}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/reinokeitro-config-version.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/reinokeitro-config.cmake"
  "${PROJECT_BINARY_DIR}/reinokeitro-config-version.cmake"
  DESTINATION "${package_dir}")

# has_way(result FROM TO): the relative path from one installed folder to another.
function(has_way result from to)
  set(base "${CMAKE_INSTALL_PREFIX}")
  cmake_path(ABSOLUTE_PATH from BASE_DIRECTORY "${base}" NORMALIZE)
  cmake_path(ABSOLUTE_PATH to BASE_DIRECTORY "${base}" NORMALIZE)
  cmake_path(RELATIVE_PATH to BASE_DIRECTORY "${from}")
  string(REGEX REPLACE "/$" "" to "${to}")
  set(${result} "${to}" PARENT_SCOPE)
endfunction()

has_way(pc_prefix "${pkgconfig_dir}" ".")
has_way(pc_libdir "." "${CMAKE_INSTALL_LIBDIR}")
has_way(pc_includedir "." "${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(cmake/reinokeitro.pc.in "${PROJECT_BINARY_DIR}/reinokeitro.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/reinokeitro.pc" DESTINATION "${pkgconfig_dir}")

if(TARGET hastool)
  has_way(bin_to_lib "${CMAKE_INSTALL_BINDIR}" "${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(hastool PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
endif()
