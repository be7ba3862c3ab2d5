# Debian packages by CPack, one for each component of the installation (docs/packages.md). What is not built is not
# packaged. scripts/packages runs this on a build tree.
set(SORVANE_PACKAGE_MAINTAINER "Sorvane <maintainers@sorvane.invalid>" CACHE STRING
  "Name and mail address that Debian packages give for questions")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sorvane)
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${SORVANE_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_CONFIG_FILE "${PROJECT_BINARY_DIR}/CPackConfig.cmake")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# No revision: the packages are made from this tree, there is no other source that they would package anew.
set(CPACK_DEBIAN_PACKAGE_RELEASE "")
# The archive's clock and the changelog's are that of the sources (scripts/packages), so that the same tree gives the
# same packages.
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/../packages/FinishStaging.cmake")
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_LIST_DIR}/../packages/Options.cmake")

set(kernel_text "Computational geometry for toolpath (CAM) software: triangle meshes,
sections, tools and their contact, planar regions, chains of segments and
arcs, triangulation.")

# Both libraries in one package: the C interface is of the same source and version and of little use without the other.
# Of the same version, because until version 1 a minor version may break binaries.
set(CPACK_COMPONENTS_ALL library development)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libsorvane${PROJECT_VERSION_MAJOR})
set(this_library "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "geometry kernel for toolpath software (libraries)
${kernel_text}
.
This package has the library and its C interface.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# What a package of a program linked to the libraries depends on, and the refreshed list of the loader after an
# installation. Written here, because CPack finds libraries in that package only under other conditions.
set(shlibs "${PROJECT_BINARY_DIR}/packages/control/shlibs")
set(triggers "${PROJECT_BINARY_DIR}/packages/control/triggers")
set(shlibs_text)
foreach(library IN LISTS libraries)
  get_target_property(name ${library} OUTPUT_NAME)
  if(NOT name)
    set(name ${library})
  endif()
  string(APPEND shlibs_text "lib${name} ${PROJECT_VERSION_MAJOR} ${this_library}\n")
endforeach()
file(CONFIGURE OUTPUT "${shlibs}" CONTENT "${shlibs_text}")
file(CONFIGURE OUTPUT "${triggers}" CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${shlibs};${triggers}")
# Where dpkg-shlibdeps finds the libraries of this very build, which no installed package has; the dependencies on
# them are written out below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR};${PROJECT_BINARY_DIR}/c")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libsorvane-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "geometry kernel for toolpath software (headers)
${kernel_text}
.
This package has what is needed to build programs against the library:
the headers for C++20 and for C99, the CMake package Sorvane, and sorvane.pc
and sorvane_c.pc for pkg-config.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${this_library}")

if(TARGET sorvane_command)
  list(APPEND CPACK_COMPONENTS_ALL command)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME sorvane)
  set(CPACK_DEBIAN_COMMAND_DESCRIPTION "geometry of parts and tool paths in a shell
${kernel_text}
.
This package has the command sorvane, which reports on meshes, converts,
repairs, cuts, remeshes and measures them, drops tools on them, and offsets,
unites and draws planar regions.")
  set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION science)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${this_library}")
endif()

if(TARGET sorvane_c AND SORVANE_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  # Not a part of an installation by hand: the interpreter looks there in Debian's prefix only.
  install(CODE "
    set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/python3/dist-packages\")
    file(MAKE_DIRECTORY \"\${folder}\")
    execute_process(COMMAND \"${CMAKE_COMMAND}\" -E env \"SORVANE_PYTHON=${SORVANE_PYTHON}\"
      \"${PROJECT_SOURCE_DIR}/scripts/python-package\" \"\${folder}\" --copy COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT python EXCLUDE_FROM_ALL)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-sorvane)
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION "geometry kernel for toolpath software (Python 3)
${kernel_text}
.
This package has the Python package sorvane, which works on arrays of NumPy.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${this_library}, python3 (>= 3.9), python3-numpy (>= 1:1.21)")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-tqdm)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-dask, python3-distributed")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packages/postinst;${PROJECT_SOURCE_DIR}/packages/prerm")
endif()

set(CPACK_SORVANE_SOURCE "${PROJECT_SOURCE_DIR}")
include(CPack)
