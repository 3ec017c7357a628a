# Installs the library. Installed files refer to each other by relative paths, so the installation can be moved.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Caprion)

install(TARGETS caprion EXPORT CaprionTargets
  LIBRARY COMPONENT caprion_library NAMELINK_COMPONENT caprion_development
  ARCHIVE COMPONENT caprion_development
)
install(DIRECTORY include/caprion TYPE INCLUDE COMPONENT caprion_development)
install(FILES LICENSE TYPE DOC COMPONENT caprion_documents)

# For CMake: find_package(Caprion) and the target Caprion::caprion.
install(EXPORT CaprionTargets NAMESPACE Caprion:: DESTINATION ${package_folder} COMPONENT caprion_development)
get_target_property(library_type caprion TYPE)
configure_package_config_file(cmake/CaprionConfig.cmake.in ${PROJECT_BINARY_DIR}/CaprionConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CaprionConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/CaprionConfig.cmake ${PROJECT_BINARY_DIR}/CaprionConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT caprion_development)

# For pkg-config. The prefix is relative to the folder of the .pc file, except in /usr: nothing is moved from there, and
# pkg-config omits the flags for the system's folders only if it sees their real names.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(prefix_of_pc /usr)
else()
  file(RELATIVE_PATH prefix_of_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "^(.*)/$" "\${pcfiledir}/\\1" prefix_of_pc ${prefix_of_pc})
endif()
file(RELATIVE_PATH libdir_of_pc ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includedir_of_pc ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
# Only a static library lists its dependencies. libcurl is listed as a library, not as a package: the package would add
# the dependencies of a static libcurl, and few systems have them all.
set(static_requirements "")
if(library_type STREQUAL "STATIC_LIBRARY")
  string(JOIN "\n" static_requirements
    "Requires.private: libpcre2-8 zlib"
    "Libs.private: -lcurl -lboost_json -lstdc++ -lm -pthread")
endif()
configure_file(cmake/caprion.pc.in ${PROJECT_BINARY_DIR}/caprion.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/caprion.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT caprion_development)
