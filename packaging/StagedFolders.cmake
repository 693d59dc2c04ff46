# Run by cpack on the folders that become packages. Folders get the same permissions whatever the umask.
set(permissions OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Only Debian packages carry lintian's overrides, each with its reason.
if(CPACK_GENERATOR STREQUAL "DEB")
  foreach(pair runtime=nvmepcissd simulator=nvmepcissd-simulator)
    string(REGEX MATCH "^(.*)=(.*)$" matched ${pair})
    set(folder ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${CMAKE_MATCH_1}/usr/share)
    if(IS_DIRECTORY ${folder})
      file(COPY ${CMAKE_CURRENT_LIST_DIR}/lintian/${CMAKE_MATCH_2} DESTINATION ${folder}/lintian/overrides
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
  endforeach()
endif()

file(CHMOD_RECURSE ${CPACK_TEMPORARY_INSTALL_DIRECTORY} DIRECTORY_PERMISSIONS ${permissions})
