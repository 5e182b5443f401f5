# The product map library in three forms, placed as HalvProd.dll; the alert version library in two, placed as ALERTVER.DLL;
# a scrambling library.
foreach(kind good bare unterminated)
  string(TOUPPER ${kind} upper)
  test_product_library(setupfiles_map_${kind} HALVPROD_${upper}.DLL setupfiles_product_map.cpp)
  target_compile_definitions(setupfiles_map_${kind} PRIVATE MAP_${upper})
endforeach()
test_product_library(setupfiles_alert SETUPFILES_ALERTVER.DLL setupfiles_alert.cpp)
test_product_library(setupfiles_scrambling SETUPFILES_KVDCEN.DLL setupfiles_scrambling.cpp)
