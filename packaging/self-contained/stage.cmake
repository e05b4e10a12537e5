# Brings along every library that a machine with a desktop may lack: Qt, ICU, libarchive, and what
# these need. What belongs to the machine stays the machine's: the C library, the drivers of the
# screen, and the fonts with those who read their settings.
find_program(patchelf patchelf REQUIRED)
set(machines "^(ld-linux|lib(c|m|dl|rt|pthread|resolv|util)\\.so|libGL|libEGL|libgbm|libdrm|libX11|libxcb\\.so|libfontconfig|libfreetype|libexpat|libz\\.so)")

file(GLOB programs ${tree}/bin/*)
file(GLOB_RECURSE plugins ${tree}/lib/plugins/*.so)
file(GET_RUNTIME_DEPENDENCIES EXECUTABLES ${programs} LIBRARIES ${plugins}
  RESOLVED_DEPENDENCIES_VAR libraries PRE_EXCLUDE_REGEXES ${machines})
foreach(library ${libraries})
  file(INSTALL ${library} DESTINATION ${tree}/lib FOLLOW_SYMLINK_CHAIN)
endforeach()

# Each file finds the libraries from where it lies itself, wherever the tree is unpacked. As RPATH,
# not RUNPATH: it then serves what a library needs in its turn, too.
function(find_libraries_from folder)
  foreach(file ${ARGN})
    if(NOT IS_SYMLINK ${file})
      run(${patchelf} --force-rpath --set-rpath ${folder} ${file})
    endif()
  endforeach()
endfunction()
file(GLOB brought ${tree}/lib/*.so*)
find_libraries_from($ORIGIN/../lib ${programs})
find_libraries_from($ORIGIN ${brought})
find_libraries_from($ORIGIN/../.. ${plugins})
