# Read by cpack before it makes packages. What is packed carries the time of the sources, not that of the build.
include(${CMAKE_CURRENT_LIST_DIR}/../cmake/SourceDate.cmake)
source_date(epoch)
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
