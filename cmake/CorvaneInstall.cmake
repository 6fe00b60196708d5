# What `cmake --install` lays out, so that a host says find_package(Corvane) and links Corvane::Corvane.

include(CMakePackageConfigHelpers)

set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/Corvane)
set(packageFiles ${PROJECT_BINARY_DIR}/package)

# A static library leaves its own dependencies to whoever links it; a shared one brings them.
set(CORVANE_IS_STATIC ON)
if(BUILD_SHARED_LIBS)
  set(CORVANE_IS_STATIC OFF)
endif()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/CorvaneConfig.cmake.in
  ${packageFiles}/CorvaneConfig.cmake INSTALL_DESTINATION ${packageDirectory}
  NO_SET_AND_CHECK_MACRO)
# Before 1.0 a host states the minor version that it was written for.
write_basic_package_version_file(${packageFiles}/CorvaneConfigVersion.cmake COMPATIBILITY SameMinorVersion)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/include/corvane/CorvaneVersion.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/corvane)
install(FILES ${packageFiles}/CorvaneConfig.cmake ${packageFiles}/CorvaneConfigVersion.cmake
        DESTINATION ${packageDirectory})
install(EXPORT CorvaneTargets NAMESPACE Corvane:: DESTINATION ${packageDirectory})
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
