# Run by CPack on its staging tree before it builds the package: compresses
# the manual pages as Debian wants them (gzip -9n: no name, no time stamp).
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/share/man/man*/*.[1-9]")
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9nf ${page} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "gzip ${page} failed")
  endif()
endforeach()
