# Libraries of the machine families; what they answer stands in environment variables of the test's process.
test_product_library(test_core_library KVCORE.DLL core_library.cpp)
test_product_library(test_scrambling_library KVDCEN.DLL scrambling_library.cpp)
test_product_library(test_windows_check_library WINCHECK.DLL windows_check_library.cpp)
