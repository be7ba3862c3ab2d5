# Install and export: find_package(Sorvane CONFIG) and pkg-config. An installation is all of it; the components are
# those of the Debian packages (SorvanePackages.cmake): library, development, command, python.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Sorvane")
set(libraries Sorvane)
if(TARGET sorvane_c)
  list(APPEND libraries sorvane_c)
  install(FILES c/sorvane.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  install(DIRECTORY c/sorvane_c DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
endif()
install(TARGETS ${libraries} EXPORT SorvaneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library)
install(EXPORT SorvaneTargets NAMESPACE Sorvane:: DESTINATION ${package_dir} COMPONENT development)
install(DIRECTORY Interfaces/Velk Interfaces/Sorvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*_E.h")
install(FILES NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT notice)

configure_package_config_file(cmake/SorvaneConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfig.cmake" INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfigVersion.cmake" DESTINATION ${package_dir} COMPONENT development)

# From the folder of the .pc file, so that an installed tree can be moved or staged. It requires no other package, not
# privately either: pkg-config would ask for that package's headers, which nobody who uses ours needs.
file(RELATIVE_PATH SORVANE_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
set(pc_files sorvane.pc)
if(TARGET sorvane_c)
  list(APPEND pc_files sorvane_c.pc)
endif()
foreach(file IN LISTS pc_files)
  configure_file(cmake/${file}.in "${CMAKE_CURRENT_BINARY_DIR}/${file}" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${file}" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endforeach()
