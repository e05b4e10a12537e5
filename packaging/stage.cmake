# Completes the gathered files; run by cpack before it packs them.
set(stage ${CPACK_TEMPORARY_INSTALL_DIRECTORY})
set(tree ${stage}${CPACK_PACKAGING_INSTALL_PREFIX})

unset(ENV{DESTDIR}) # the paths below have it already

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The client, packed by the program that goes along.
set(client ${CPACK_TESSEL_CLIENT})
if(NOT client)
  set(client ${CPACK_TOPLEVEL_DIRECTORY}/client)
  file(REMOVE_RECURSE ${client})
  run(${CPACK_TESSEL_SOURCES}/tools/sample-client/make-client ${CPACK_TESSEL_CLIENT_BUILD} ${client})
endif()
run(${tree}/bin/tessel-package build ${client} ${tree})

if(CPACK_GENERATOR STREQUAL "DEB")
  include(${CMAKE_CURRENT_LIST_DIR}/debian/stage.cmake)
else()
  include(${CMAKE_CURRENT_LIST_DIR}/self-contained/stage.cmake)
endif()
