# Run by CPack on the folders that become packages: adds what Debian wants in each, and compresses it.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(package ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share)
  set(documents ${root}/doc/${package})

  configure_file(${CPACK_CAPRION_SOURCE_DIR}/LICENSE ${documents}/copyright COPYONLY)
  configure_file(${CPACK_CAPRION_SOURCE_DIR}/CHANGELOG.md ${documents}/changelog COPYONLY)
  file(WRITE ${documents}/changelog.Debian
    "caprion (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
    "  * Packaged as it is.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")

  file(GLOB texts ${documents}/changelog* ${root}/man/man1/*.1)
  file(CHMOD ${texts} ${documents}/copyright PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  execute_process(COMMAND gzip -9nf ${texts} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
