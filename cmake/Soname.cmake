# qb_soname(VAR LIBRARY_FILE): the name the dynamic loader knows a shared
# library by (its soname), for libraries the program opens when it first
# needs them rather than links; the file itself where the soname can't be
# read.
function(qb_soname var file)
  set(name "${file}")
  if(CMAKE_READELF AND EXISTS "${file}")
    execute_process(COMMAND "${CMAKE_READELF}" -d "${file}" OUTPUT_VARIABLE dynamic ERROR_QUIET)
    if(dynamic MATCHES "Library soname: \\[([^]]+)\\]")
      set(name "${CMAKE_MATCH_1}")
    endif()
  endif()
  set(${var} "${name}" PARENT_SCOPE)
endfunction()
