# Run by CPack between installation into its staging folders, one for each component, and packing: adds what a Debian
# package has and an installation by hand has not.
find_program(gzip gzip REQUIRED)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${component}" upper)
  set(package "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  set(root "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}")

  # The loader finds the libraries where Debian has them; a search path of their own could only lead elsewhere.
  file(GLOB_RECURSE programs LIST_DIRECTORIES FALSE "${root}/usr/bin/*" "${root}/usr/lib/*.so.*")
  foreach(program IN LISTS programs)
    if(NOT IS_SYMLINK "${program}")
      file(RPATH_REMOVE FILE "${program}")
    endif()
  endforeach()

  set(folder "${root}/usr/share/doc/${package}")
  file(MAKE_DIRECTORY "${folder}")
  file(COPY_FILE "${CPACK_SORVANE_SOURCE}/packages/copyright" "${folder}/copyright")
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE "${folder}/changelog" "sorvane (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}. CHANGELOG.md in the sources has what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  file(GLOB_RECURSE pages "${root}/usr/share/man/*.1")
  execute_process(COMMAND "${gzip}" -9n "${folder}/changelog" ${pages} COMMAND_ERROR_IS_FATAL ANY)

  if(EXISTS "${CPACK_SORVANE_SOURCE}/packages/${package}.lintian-overrides")
    file(MAKE_DIRECTORY "${root}/usr/share/lintian/overrides")
    file(COPY_FILE "${CPACK_SORVANE_SOURCE}/packages/${package}.lintian-overrides"
      "${root}/usr/share/lintian/overrides/${package}")
  endif()

  # Installed by whoever ran this, under whatever umask.
  file(GLOB_RECURSE files LIST_DIRECTORIES FALSE "${root}/*")
  foreach(file IN LISTS files)
    if(NOT IS_SYMLINK "${file}")
      if(file MATCHES "/usr/bin/")
        set(bits OWNER_EXECUTE GROUP_EXECUTE WORLD_EXECUTE)
      else()
        set(bits)
      endif()
      file(CHMOD "${file}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ ${bits})
    endif()
  endforeach()
endforeach()
