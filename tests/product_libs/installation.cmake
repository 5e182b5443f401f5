# Installation plug-ins with six, five and no exports; each of the first two notes its calls in environment variables.
test_product_library(test_plugin_six PLUGIN6.DLL installation_plugin.cpp)
test_product_library(test_plugin_five PLUGIN5.DLL installation_plugin.cpp)
target_compile_definitions(test_plugin_five PRIVATE PLUGIN_WITHOUT_PATH)
