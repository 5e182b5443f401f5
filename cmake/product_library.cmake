# product_library(TARGET FILENAME FOLDER SOURCES...) builds a closed library of the product family for demo/ and tests/:
# a DLL on Windows, elsewhere a shared object under the very same file name. It lands in FOLDER.
# The name's letter case is kept; ordinals are the symbols OrdinalN (on Windows through a .def file beside the source).
function(product_library target filename folder)
  add_library(${target} MODULE ${ARGN})
  target_link_libraries(${target} PRIVATE instalib_options)
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
  if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_link_options(${target} PRIVATE -Wl,--kill-at)  # entry points are looked up by their plain names
  endif()
  get_filename_component(stem ${filename} NAME_WLE)
  get_filename_component(suffix ${filename} LAST_EXT)
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${stem} SUFFIX ${suffix}
    LIBRARY_OUTPUT_DIRECTORY ${folder} RUNTIME_OUTPUT_DIRECTORY ${folder})
endfunction()
