# The program gzip. Defines Gzip_FOUND and GZIP_PROGRAM.
find_program(GZIP_PROGRAM gzip)
mark_as_advanced(GZIP_PROGRAM)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Gzip DEFAULT_MSG GZIP_PROGRAM)
