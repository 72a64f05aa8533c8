# `make package`: the Debian package chronex_<version>_<arch>.deb with the
# program and its manual page (install component "chronex"); the framework
# is for building programs and stays out of it.
set(CHRONEX_MAINTAINER "chronex developers <chronex@example.org>"
    CACHE STRING "Maintainer field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME chronex)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${CHRONEX_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "running SMPTE timecode for numbered DPX image sequences")
set(CPACK_PACKAGE_DESCRIPTION
    "chronex gives every frame of a numbered DPX image sequence a running
SMPTE timecode: given one frame, a frame rate and a start timecode, it finds
the other frames, orders them and writes the timecode of frame n (start + n)
into each DPX header that does not hold it already. The new header is
appended to the file; the original header is never overwritten.")
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};chronex;chronex;/")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A -m32 build on an amd64 machine makes a package for another machine.
set(LU_NATIVE_PACKAGE ON)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND
   CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
  set(LU_NATIVE_PACKAGE OFF)
endif()
# Debian ships manual pages compressed.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/compress_man_pages.cmake)
include(CPack)

# Builds the package, unpacks it into a temporary root and runs the unpacked
# chronex there.
if(LU_TESTS AND LU_NATIVE_PACKAGE)
  add_test(NAME Package.DebInstallsAWorkingChronex
           COMMAND sh ${PROJECT_SOURCE_DIR}/tests/package_test.sh
                   ${PROJECT_BINARY_DIR} ${PROJECT_VERSION}
                   $<TARGET_FILE:chronex_make_sample>)
endif()
