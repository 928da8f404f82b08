# Where the library, its headers, its CMake package and its pkg-config file go, and the program with its papers.
# Three components, as distributions cut them: runtime, development, program.
include(CMakePackageConfigHelpers)

install(TARGETS ringmix EXPORT ringmixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/ringmix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ringmix)
install(EXPORT ringmixTargets NAMESPACE ringmix:: DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(cmake/ringmixConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/ringmixConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ringmixConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ringmixConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/ringmixConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)

# From where the file lies back to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
get_target_property(library_type ringmix TYPE)
list(TRANSFORM CMAKE_DL_LIBS PREPEND "-l" OUTPUT_VARIABLE dl_libs)
list(TRANSFORM CMAKE_CXX_IMPLICIT_LINK_LIBRARIES PREPEND "-l" OUTPUT_VARIABLE cxx_libs)
list(FILTER cxx_libs INCLUDE REGEX "c\\+\\+")
string(JOIN " " pc_static_libs ${cxx_libs} -pthread ${dl_libs})
if(library_type STREQUAL "STATIC_LIBRARY")  # a C linker then has to be told what it needs
  set(pc_libs ${pc_static_libs})
  set(pc_static_libs "")
endif()
configure_file(cmake/ringmix.pc.in ringmix.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ringmix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

if(TARGET ringmix_program)
  install(TARGETS ringmix_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  set(man_page ${CMAKE_CURRENT_BINARY_DIR}/ringmix.1)
  set(make_page ${CMAKE_CURRENT_SOURCE_DIR}/man/make-page.sh)
  add_custom_command(OUTPUT ${man_page} VERBATIM
    COMMAND sh ${make_page} $<TARGET_FILE:ringmix_program> > ${man_page} DEPENDS ringmix_program ${make_page})
  add_custom_target(ringmix_man ALL DEPENDS ${man_page})
  install(FILES ${man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
  install(FILES completions/ringmix DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT program)
endif()

# The licence goes with every copy, where Debian looks for it.
set(runtime_package libringmix${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
install(FILES LICENSE RENAME copyright COMPONENT runtime DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${runtime_package})
install(FILES LICENSE RENAME copyright COMPONENT development DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libringmix-dev)
if(TARGET ringmix_program)
  install(FILES LICENSE RENAME copyright COMPONENT program DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ringmix)
endif()
