# Libraries and a program for the tests of modules and processes.
if(WIN32)
  test_product_library(modtest MODTEST.DLL modules_library.cpp modules_library.def)
else()
  test_product_library(modtest MODTEST.DLL modules_library.cpp)
endif()

# A program that reports what it was started with.
add_executable(reporter modules_reporter.cpp)
target_link_libraries(reporter PRIVATE instalib_platform instalib_options)
set_target_properties(reporter PROPERTIES OUTPUT_NAME REPORTER SUFFIX .EXE
  RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/product_libs)
add_dependencies(test_product_libraries reporter)
