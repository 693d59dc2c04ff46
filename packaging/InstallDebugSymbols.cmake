# Installs the debug symbols of `file`, named by its build id.
execute_process(COMMAND ${readelf} -n "${file}" OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
  message(FATAL_ERROR "${file} has no build id")
endif()
set(folder ${CMAKE_MATCH_1})
set(symbols ${scratch}/${CMAKE_MATCH_2}.debug)
file(MAKE_DIRECTORY "${scratch}")
execute_process(COMMAND ${objcopy} --only-keep-debug --compress-debug-sections "${file}" "${symbols}"
  COMMAND_ERROR_IS_FATAL ANY)
file(INSTALL "${symbols}" DESTINATION "${CMAKE_INSTALL_PREFIX}/lib/debug/.build-id/${folder}"
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
