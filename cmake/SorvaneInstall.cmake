# Install and export: find_package(Sorvane CONFIG) and pkg-config.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Sorvane")
install(TARGETS Sorvane EXPORT SorvaneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET sorvane_c)
  install(TARGETS sorvane_c EXPORT SorvaneTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES c/sorvane.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY c/sorvane_c DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
endif()
install(EXPORT SorvaneTargets NAMESPACE Sorvane:: DESTINATION ${package_dir})
install(DIRECTORY Interfaces/Velk Interfaces/Sorvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*_E.h")
install(FILES NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR})

configure_package_config_file(cmake/SorvaneConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfig.cmake" INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/SorvaneConfigVersion.cmake" DESTINATION ${package_dir})

if(SORVANE_THREADS STREQUAL "tbb")
  set(SORVANE_PC_REQUIRES_PRIVATE "tbb")
endif()
# From the folder of the .pc file, so that an installed tree can be moved or staged.
file(RELATIVE_PATH SORVANE_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/sorvane.pc.in "${CMAKE_CURRENT_BINARY_DIR}/sorvane.pc" @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/sorvane.pc"
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(TARGET sorvane_c)
  configure_file(cmake/sorvane_c.pc.in "${CMAKE_CURRENT_BINARY_DIR}/sorvane_c.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/sorvane_c.pc"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
