# source_date(RESULT): the time, in seconds since 1970, that everything built from these sources carries instead of
# the time of the build: SOURCE_DATE_EPOCH from the environment, else the last commit's, else that of the changelog.
function(source_date result)
  set(epoch "$ENV{SOURCE_DATE_EPOCH}")
  set(root ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/..)
  if(NOT epoch)
    execute_process(COMMAND git -C ${root} log -1 --format=%ct
      OUTPUT_VARIABLE epoch ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
  if(NOT epoch)
    file(TIMESTAMP ${root}/packaging/changelog epoch "%s" UTC)
  endif()
  set(${result} ${epoch} PARENT_SCOPE)
endfunction()
