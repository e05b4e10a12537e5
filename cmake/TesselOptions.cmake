# Warnings, sanitizers and coverage of our own targets: linked PRIVATE, so users inherit none of it.
set(TESSEL_SANITIZE "" CACHE STRING "Sanitizers for all targets, for example address,undefined")
option(TESSEL_COVERAGE "Count executed lines" OFF)
option(TESSEL_WERROR "Warnings are errors (development and CI; a newer compiler may warn anew)" OFF)

add_library(tessel_options INTERFACE)
target_compile_features(tessel_options INTERFACE cxx_std_17)
target_compile_options(tessel_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wnon-virtual-dtor -fstack-protector-strong
  $<$<BOOL:${TESSEL_WERROR}>:-Werror>)
target_link_options(tessel_options INTERFACE LINKER:-z,relro,-z,now,--as-needed)

if(TESSEL_SANITIZE)
  target_compile_options(tessel_options INTERFACE
    -fsanitize=${TESSEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tessel_options INTERFACE -fsanitize=${TESSEL_SANITIZE})
endif()
if(TESSEL_COVERAGE)
  target_compile_options(tessel_options INTERFACE --coverage -fprofile-update=atomic)
  target_compile_definitions(tessel_options INTERFACE TESSEL_COVERAGE)
  target_link_options(tessel_options INTERFACE --coverage)
endif()
