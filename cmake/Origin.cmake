# mark_origin(TARGET ORIGIN) puts a note into a shared object that says where it comes from: "simulator" or "nvme_linux".
function(mark_origin target ORIGIN)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/Origin.cpp.in ${target}_origin.cpp @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_origin.cpp)
endfunction()
