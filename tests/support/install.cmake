# cmake -D build=FOLDER -D prefix=FOLDER -P install.cmake: installs a build below an empty prefix.
file(REMOVE_RECURSE "${prefix}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${build}" --prefix "${prefix}"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
