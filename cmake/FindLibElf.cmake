# elfutils' libelf, which ships no package file for CMake. Defines LibElf_FOUND and the target LibElf::LibElf.
find_path(LibElf_INCLUDE_DIR gelf.h)
find_library(LibElf_LIBRARY elf)
mark_as_advanced(LibElf_INCLUDE_DIR LibElf_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibElf DEFAULT_MSG LibElf_LIBRARY LibElf_INCLUDE_DIR)

if(LibElf_FOUND AND NOT TARGET LibElf::LibElf)
  add_library(LibElf::LibElf UNKNOWN IMPORTED)
  set_target_properties(LibElf::LibElf PROPERTIES
    IMPORTED_LOCATION ${LibElf_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${LibElf_INCLUDE_DIR})
endif()
