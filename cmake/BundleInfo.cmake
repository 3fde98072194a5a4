# Bundle information: short version from the project, build number from the
# number of commits, fixed executable name and identifier.
set(QB_BUNDLE_SHORT_VERSION "${PROJECT_VERSION}")
set(QB_BUNDLE_EXECUTABLE "Quillbeat")
set(QB_BUNDLE_IDENTIFIER "com.wendmark.quillbeat")
set(QB_BUNDLE_VERSION "0")
find_package(Git QUIET)
if(GIT_FOUND)
  execute_process(COMMAND "${GIT_EXECUTABLE}" rev-list --count HEAD
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
    OUTPUT_VARIABLE _qb_count OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE _qb_rc ERROR_QUIET)
  if(_qb_rc EQUAL 0 AND _qb_count MATCHES "^[0-9]+$")
    set(QB_BUNDLE_VERSION "${_qb_count}")
  endif()
endif()
configure_file("${PROJECT_SOURCE_DIR}/src/support/BundleInfoValues.h.in"
               "${PROJECT_BINARY_DIR}/generated/BundleInfoValues.h" @ONLY)
