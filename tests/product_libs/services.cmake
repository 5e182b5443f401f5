# The service that Windows starts for the tests; on the embedded machine a started service runs without a program.
if(WIN32)
  add_executable(test_service ${CMAKE_CURRENT_LIST_DIR}/service_program.cpp)
  target_link_libraries(test_service PRIVATE instalib_options)
  set_target_properties(test_service PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/product_libs)
  add_dependencies(test_product_libraries test_service)
endif()
