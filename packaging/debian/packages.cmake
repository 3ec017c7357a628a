# The Debian packages, by `cpack -G DEB`: libcaprion1, libcaprion-dev, caprion and python3-caprion. scripts/package
# makes them as they are to be handed out.
set(CPACK_PACKAGE_CONTACT "The Caprion authors <authors@caprion.invalid>" CACHE STRING
  "Whom the packages name as their maintainer")
set(CPACK_PACKAGE_VENDOR "The Caprion authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# What the descriptions have in common, below the project's own line.
set(about "Caprion searches the OpenSubtitles service by a video file or by a text,
downloads what was found, and reads the names of video files.")

set(library libcaprion${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENTS_ALL caprion_development caprion_tool)
if(BUILD_SHARED_LIBS)
  list(PREPEND CPACK_COMPONENTS_ALL caprion_library)
  list(APPEND CPACK_COMPONENTS_ALL caprion_python)
  set(CPACK_COMPONENT_CAPRION_DEVELOPMENT_DEPENDS caprion_library)
  set(CPACK_COMPONENT_CAPRION_TOOL_DEPENDS caprion_library)
endif()

set(CPACK_DEBIAN_CAPRION_LIBRARY_PACKAGE_NAME ${library})
set(CPACK_DEBIAN_CAPRION_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CAPRION_LIBRARY_PACKAGE_DEPENDS unzip)
set(CPACK_DEBIAN_CAPRION_LIBRARY_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_CAPRION_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CAPRION_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
set(CPACK_DEBIAN_CAPRION_LIBRARY_DESCRIPTION "${about}
This package has the shared library.")

set(CPACK_DEBIAN_CAPRION_DEVELOPMENT_PACKAGE_NAME libcaprion-dev)
set(CPACK_DEBIAN_CAPRION_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_CAPRION_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_CAPRION_DEVELOPMENT_DESCRIPTION "${about}
This package has what programs are built with, in C++ and in C: the headers,
the package for CMake and the one for pkg-config.")

set(CPACK_DEBIAN_CAPRION_TOOL_PACKAGE_NAME caprion)
set(CPACK_DEBIAN_CAPRION_TOOL_PACKAGE_SECTION video)
set(CPACK_DEBIAN_CAPRION_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CAPRION_TOOL_DESCRIPTION "${about}
This package has the command caprion.")

# In Debian's own folder for Python, where only a package may put anything.
set(python ${PROJECT_SOURCE_DIR}/bindings/python)
configure_file(${CMAKE_CURRENT_LIST_DIR}/python/METADATA.in ${PROJECT_BINARY_DIR}/python/METADATA @ONLY)
install(DIRECTORY ${python}/caprion DESTINATION lib/python3/dist-packages COMPONENT caprion_python EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/python/METADATA COMPONENT caprion_python EXCLUDE_FROM_ALL
  DESTINATION lib/python3/dist-packages/caprion-${PROJECT_VERSION}.dist-info)
install(FILES ${python}/README.md COMPONENT caprion_python EXCLUDE_FROM_ALL DESTINATION share/doc/python3-caprion)
set(CPACK_DEBIAN_CAPRION_PYTHON_PACKAGE_NAME python3-caprion)
set(CPACK_DEBIAN_CAPRION_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_CAPRION_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_CAPRION_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_CAPRION_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), ${library} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_CAPRION_PYTHON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_LIST_DIR}/python/postinst ${CMAKE_CURRENT_LIST_DIR}/python/prerm)
set(CPACK_DEBIAN_CAPRION_PYTHON_DESCRIPTION "${about}
This package has the Python module caprion.")

# What programs that are linked to the library will depend on.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# For caprion itself, the library is none of an installed package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/src)

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/documents.cmake)
set(CPACK_CAPRION_SOURCE_DIR ${PROJECT_SOURCE_DIR})

include(CPack)
