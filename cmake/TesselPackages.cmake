# What is handed to administrators, each by one call of cpack in a build folder:
#   cpack -G DEB    a package of the installation tree below /opt, with the distribution's Qt
#   cpack -G TGZ    an archive of the same tree that brings Qt and the other libraries along
set(TESSEL_CLIENT "" CACHE PATH
  "The client folder to be packed; empty stands for the sample client")
set(TESSEL_CLIENT_BUILD 1 CACHE STRING "The build number of the sample client")

set(CPACK_PACKAGE_NAME aldane-tessel)
set(CPACK_PACKAGE_VENDOR Aldane)
set(CPACK_PACKAGE_CONTACT "Aldane <packages@aldane.example>")
set(CPACK_PACKAGE_HOMEPAGE_URL https://aldane.example/tessel)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "file synchronization client, one copy for each user")
set(CPACK_PACKAGE_DESCRIPTION
"Every user of the machine runs a copy of the client of their own. The launcher
brings it up to the installed build and starts it.")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The client's build number, so that the package manager upgrades to a newer client.
set(CPACK_DEBIAN_PACKAGE_RELEASE ${TESSEL_CLIENT_BUILD})
if(TESSEL_CLIENT)
  file(STRINGS ${TESSEL_CLIENT}/INFO build REGEX "^build_version=[0-9]+$")
  string(REPLACE "build_version=" "" CPACK_DEBIAN_PACKAGE_RELEASE "${build}")
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS qtwayland5)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/debian/preinst
  ${PROJECT_SOURCE_DIR}/packaging/debian/postinst
  ${PROJECT_SOURCE_DIR}/packaging/debian/prerm)

set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/generator.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/stage.cmake)
set(CPACK_TESSEL_SOURCES ${PROJECT_SOURCE_DIR})
set(CPACK_TESSEL_CLIENT ${TESSEL_CLIENT})
set(CPACK_TESSEL_CLIENT_BUILD ${TESSEL_CLIENT_BUILD})
get_target_property(platform Qt5::QMinimalIntegrationPlugin LOCATION)
get_filename_component(platforms "${platform}" DIRECTORY)
get_filename_component(CPACK_TESSEL_QT_PLUGINS "${platforms}" DIRECTORY)
include(CPack)
