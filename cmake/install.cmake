# What `cmake --install` puts in place: the header, both libraries, the program, the CMake package
# `tarq` (targets tarq::tarq and tarq::tarq_static) and the pkg-config file. Everything is
# relocatable: the installed files find each other by relative paths.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

add_library(tarq::tarq ALIAS tarq)
add_library(tarq::tarq_static ALIAS tarq_static)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarq)
install(TARGETS tarq tarq_static EXPORT tarqTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/tarq.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tarqTargets NAMESPACE tarq:: DESTINATION ${package_dir})
if(TARQ_TOOL)
  install(TARGETS tarq_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

configure_package_config_file(cmake/tarqConfig.cmake.in tarqConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(tarqConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tarqConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/tarqConfigVersion.cmake cmake/FindGMP.cmake
        DESTINATION ${package_dir})

# pkg-config expands ${pcfiledir} to the folder of the file itself.
file(RELATIVE_PATH TARQ_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/tarq.pc.in tarq.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tarq.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
