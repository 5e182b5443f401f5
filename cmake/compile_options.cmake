# Warnings are errors everywhere; a target links instalib_options to get them.
add_library(instalib_options INTERFACE)
target_compile_options(instalib_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(WIN32)
  # A DLL must start on a machine that has nothing of the compiler installed.
  target_link_options(instalib_options INTERFACE -static)
endif()

set(INSTALIB_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
if(INSTALIB_SANITIZE)
  add_compile_options(-fsanitize=${INSTALIB_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${INSTALIB_SANITIZE})
endif()
