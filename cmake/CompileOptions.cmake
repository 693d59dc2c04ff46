# nvmepcissd_options: language level, warnings and source names for every target of the project.
# nvmepcissd_hardening: what the shipped binaries are built with besides.

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(nvmepcissd_options INTERFACE)
target_compile_features(nvmepcissd_options INTERFACE cxx_std_20)
target_compile_options(nvmepcissd_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wcast-qual
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough
  -Wundef -Wunused -Wextra-semi
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wsuggest-override>
  # The debug log names sources relative to the repository root, whatever the build folder.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
# Debug symbols go into packages of their own. They name no folder of the building machine, so that two builds are equal.
if(NVMEPCISSD_PACKAGING)
  target_compile_options(nvmepcissd_options INTERFACE
    $<$<CONFIG:Release>:-g -fdebug-prefix-map=${PROJECT_SOURCE_DIR}=. -fdebug-prefix-map=${CMAKE_BINARY_DIR}=.>)
  target_link_options(nvmepcissd_options INTERFACE $<$<CONFIG:Release>:-Wl,--build-id=sha1>)
endif()

# tests/system/release reads the built executable and asserts each of these.
add_library(nvmepcissd_hardening INTERFACE)
target_compile_options(nvmepcissd_hardening INTERFACE
  -ffunction-sections -fdata-sections
  # Nothing of the component is looked up from outside.
  -fvisibility=hidden -fvisibility-inlines-hidden
  -fstack-protector-strong
  $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection=full -fstack-clash-protection>
  $<$<CONFIG:Release>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -D_GLIBCXX_ASSERTIONS>)
target_link_options(nvmepcissd_hardening INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack -Wl,--as-needed -Wl,--gc-sections)
