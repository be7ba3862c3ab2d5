# Read by CPack when it starts. The environment decides what is no property of the build tree: where the packages go,
# and how hard they are compressed (a test need not wait for the smallest).
if(DEFINED ENV{SORVANE_PACKAGES_TO})
  set(CPACK_PACKAGE_DIRECTORY "$ENV{SORVANE_PACKAGES_TO}")
endif()
if(DEFINED ENV{SORVANE_PACKAGES_COMPRESSION})
  set(CPACK_DEBIAN_COMPRESSION_TYPE "$ENV{SORVANE_PACKAGES_COMPRESSION}")
endif()
