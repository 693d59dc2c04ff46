# Cross-compiles for arm64 with the distribution's compiler. Headers and libraries are those of unpacked arm64 packages,
# which scripts/test-arm64.sh puts into build/arm64/root.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/../build/arm64/root ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# What the libraries themselves are linked with.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    -Wl,-rpath-link,${root}/usr/lib/aarch64-linux-gnu:${root}/lib/aarch64-linux-gnu)
endforeach()
