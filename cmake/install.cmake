# What `make install` puts on the machine besides chronex and its manual
# page (component "chronex", see the tool's folder): the framework for other
# programs (component "lu") - liblu.a, its headers under include/lu/ (each
# folder names them with lu_public_headers), a CMake package giving the
# target lu::lu and the pkg-config file lu.pc.
include(CMakePackageConfigHelpers)

set(LU_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lu)

install(TARGETS lu EXPORT luTargets COMPONENT lu
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT luTargets NAMESPACE lu:: COMPONENT lu
        DESTINATION ${LU_CMAKE_DIR})
# The build tree offers the same lu::lu to find_package (lu_DIR=<build>).
export(EXPORT luTargets NAMESPACE lu::
       FILE ${PROJECT_BINARY_DIR}/luTargets.cmake)

configure_package_config_file(cmake/luConfig.cmake.in
  ${PROJECT_BINARY_DIR}/luConfig.cmake INSTALL_DESTINATION ${LU_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/luConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/luConfig.cmake
              ${PROJECT_BINARY_DIR}/luConfigVersion.cmake
        COMPONENT lu DESTINATION ${LU_CMAKE_DIR})

# lu.pc finds the prefix from where it lies, so an installed tree works
# wherever it ends up (make install PREFIX=..., cmake --install --prefix).
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(LU_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH LU_PC_UP "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
  set(LU_PC_PREFIX "\${pcfiledir}/${LU_PC_UP}")
endif()
configure_file(cmake/lu.pc.in ${PROJECT_BINARY_DIR}/lu.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lu.pc COMPONENT lu
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(LU_TESTS)
  # The manual page: fails on any warning groff gives, and shows it.
  add_test(NAME Install.ManPageHasNoWarnings
           COMMAND sh -c "! groff -ww -z -man \"$0\" 2>&1 | grep ."
                   ${PROJECT_SOURCE_DIR}/tools/dpx-timecode-patch/chronex.1)
  # Installs this build into a temporary prefix and builds a small program
  # on it twice, with find_package(lu) and with pkg-config; both must read
  # a DPX header. The consumer gets this build's flags (-m32, sanitizers).
  set(LU_CONSUMER_FLAGS "${CMAKE_CXX_FLAGS}")
  if(LU_SANITIZE)
    string(APPEND LU_CONSUMER_FLAGS " -fsanitize=address,undefined")
  endif()
  add_test(NAME Install.ConsumersBuildOnTheInstalledFramework
           COMMAND sh ${PROJECT_SOURCE_DIR}/tests/install_test.sh
                   ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}
                   ${CMAKE_CXX_COMPILER} "${LU_CONSUMER_FLAGS}"
                   $<TARGET_FILE:chronex_make_sample>)
endif()
