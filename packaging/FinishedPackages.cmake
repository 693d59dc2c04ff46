# Run by cpack on the packages that it has made. It gives the parts of a Debian package the permissions that the umask
# leaves, so the package is made again from its content by dpkg-deb, which does not.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(content ${CPACK_TEMPORARY_DIRECTORY}-content)
  foreach(package IN LISTS CPACK_PACKAGE_FILES)
    file(REMOVE_RECURSE ${content})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${content} COMMAND_ERROR_IS_FATAL ANY)
    file(GLOB texts ${content}/DEBIAN/control ${content}/DEBIAN/md5sums ${content}/DEBIAN/shlibs
      ${content}/DEBIAN/triggers)
    file(CHMOD ${texts} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    file(CHMOD ${content} ${content}/DEBIAN PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${content} ${package}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
  file(REMOVE_RECURSE ${content})
endif()
