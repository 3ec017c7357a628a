# Builds Boost.JSON and GoogleTest from Debian's headers and sources when find_package() looks for them, for a standard
# library other than Debian's. Pass this file as CMAKE_PROJECT_TOP_LEVEL_INCLUDES.
include(FetchContent)
FetchContent_Declare(Boost SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/boost OVERRIDE_FIND_PACKAGE)
FetchContent_Declare(GTest SOURCE_DIR /usr/src/googletest OVERRIDE_FIND_PACKAGE)
