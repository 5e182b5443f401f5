# Libraries and a program for the tests of modules and processes.
if(WIN32)
  test_product_library(modtest MODTEST.DLL modules_library.cpp modules_library.def)
else()
  test_product_library(modtest MODTEST.DLL modules_library.cpp)
endif()

# A program that reports what it was started with, and another process as setups meet one.
add_executable(reporter modules_reporter.cpp)
add_executable(foreign foreign_program.cpp)
foreach(program reporter foreign)
  target_link_libraries(${program} PRIVATE instalib_platform instalib_options)
  string(TOUPPER ${program} upper)
  set_target_properties(${program} PROPERTIES OUTPUT_NAME ${upper} SUFFIX .EXE
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/product_libs)
  add_dependencies(test_product_libraries ${program})
endforeach()
if(WIN32)
  target_link_libraries(foreign PRIVATE user32)
endif()
