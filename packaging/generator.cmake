# What differs between the packages; run by cpack before it gathers the files of one.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_PACKAGING_INSTALL_PREFIX /opt/Aldane/AldaneTessel)
else()
  set(CPACK_PACKAGING_INSTALL_PREFIX /)
  set(CPACK_PACKAGE_FILE_NAME "${CPACK_PACKAGE_NAME}-${CPACK_PACKAGE_VERSION}-self-contained")
endif()
