# Where the library, its headers, its CMake package and its pkg-config file go.
include(CMakePackageConfigHelpers)

install(TARGETS ringmix EXPORT ringmixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/ringmix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT ringmixTargets NAMESPACE ringmix:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ringmix)
configure_package_config_file(cmake/ringmixConfig.cmake.in ringmixConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ringmix)
write_basic_package_version_file(ringmixConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ringmixConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/ringmixConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ringmix)

# From where the file lies back to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/ringmix.pc.in ringmix.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ringmix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET ringmix_program)
  install(TARGETS ringmix_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
