# What `cmake --install BUILD --prefix DIR` lays down: the library with its headers, the front end, and how CMake
# (find_package(Instalib)) and pkg-config find them. On Windows the DLL stands beside the programs.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Instalib)
set(installed_libraries instalib)
if(NOT WIN32)
  list(APPEND installed_libraries instalib_machine)
  # Wherever the folder is put, library and machine stand beside each other.
  set_target_properties(${installed_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
  set_target_properties(kvsetup PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()
install(TARGETS instalib EXPORT Instalib)
if(NOT WIN32)
  install(TARGETS instalib_machine)
endif()
install(TARGETS kvsetup)
if(NOT WIN32 AND NOT INSTALIB_SANITIZE)
  install(FILES ${CMAKE_BINARY_DIR}/kvsetup.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${CMAKE_BINARY_DIR}/kvsetup.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME kvsetup)
endif()
install(DIRECTORY include/ TYPE INCLUDE)
install(EXPORT Instalib FILE InstalibConfig.cmake NAMESPACE Instalib:: DESTINATION ${package_folder})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/InstalibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/InstalibConfigVersion.cmake DESTINATION ${package_folder})
configure_file(cmake/instalib.pc.in ${CMAKE_BINARY_DIR}/instalib.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/instalib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
