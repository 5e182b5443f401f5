# instalib_delay_load(TARGET LIBRARY FUNCTION...): the target's calls of these functions load the library of Windows when
# the first of them is made, not with the target. 64-bit only: the 32-bit build links as usual.
function(instalib_delay_load target library)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_link_libraries(${target} PRIVATE ${library})
    return()
  endif()
  set(definition ${CMAKE_BINARY_DIR}/delay/${library}.def)
  set(import ${CMAKE_BINARY_DIR}/delay/lib${library}_delayed.a)
  list(JOIN ARGN "\n" functions)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/delay)
  file(CONFIGURE OUTPUT ${definition} CONTENT "LIBRARY ${library}.dll\nEXPORTS\n${functions}\n")
  add_custom_command(OUTPUT ${import} DEPENDS ${definition}
    COMMAND ${CMAKE_DLLTOOL} --input-def ${definition} --output-delaylib ${import})
  add_custom_target(${target}_${library}_delayed DEPENDS ${import})
  add_dependencies(${target} ${target}_${library}_delayed)
  target_link_libraries(${target} PRIVATE ${import})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${import})
endfunction()
