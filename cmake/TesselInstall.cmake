# The installation tree, below the prefix:
#   bin/launcher           the program
#   lib/plugins/           the only folder in which it looks for Qt's plug-ins
#   images/                the window's icon
#   log/, package/         empty: the level switch file and the client's package go there

install(TARGETS launcher RUNTIME DESTINATION bin)
install(FILES ${PROJECT_SOURCE_DIR}/ui-client/launcher/images/ico_72_skylark.png DESTINATION images)
install(DIRECTORY DESTINATION log)
install(DIRECTORY DESTINATION package)

foreach(plugin QXcbIntegrationPlugin QOffscreenIntegrationPlugin QMinimalIntegrationPlugin)
  get_target_property(file Qt5::${plugin} LOCATION)
  install(FILES ${file} DESTINATION lib/plugins/platforms)
endforeach()
get_filename_component(platforms "${file}" DIRECTORY)
get_filename_component(qt_plugins "${platforms}" DIRECTORY)

# Qt's Wayland module names no targets for its plug-ins; they lie beside the others.
file(GLOB wayland "${platforms}/libqwayland-generic.so" "${platforms}/libqwayland-egl.so")
if(NOT wayland)
  message(STATUS "Qt's Wayland plug-ins are not installed here; the launcher will need X11 "
    "(on Debian, the package qtwayland5 brings them)")
endif()
install(FILES ${wayland} DESTINATION lib/plugins/platforms)

# What the platform plug-ins load in their turn.
foreach(folder xcbglintegrations wayland-shell-integration wayland-graphics-integration-client
               wayland-decoration-client)
  if(EXISTS "${qt_plugins}/${folder}")
    install(DIRECTORY "${qt_plugins}/${folder}" DESTINATION lib/plugins)
  endif()
endforeach()
