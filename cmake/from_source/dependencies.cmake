# For a standard library that Debian builds no C++ for: has Boost.JSON and GoogleTest built along with the project, from
# Debian's headers and sources, wherever find_package() asks for them. To be given as CMAKE_PROJECT_TOP_LEVEL_INCLUDES.
include(FetchContent)
FetchContent_Declare(Boost SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/boost OVERRIDE_FIND_PACKAGE)
FetchContent_Declare(GTest SOURCE_DIR /usr/src/googletest OVERRIDE_FIND_PACKAGE)
