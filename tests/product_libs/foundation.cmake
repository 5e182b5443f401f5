# Version libraries: VERLIB.DLL tells what the environment says, VERNONE.DLL exports nothing.
test_product_library(test_version_library VERLIB.DLL version_library.cpp)
test_product_library(test_empty_library VERNONE.DLL empty_library.cpp)
