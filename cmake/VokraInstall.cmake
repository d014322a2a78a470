# What `cmake --install` lays down: headers, both libraries, the program, a CMake
# package and a pkg-config file, so that a module builds against an installed tree.
include(CMakePackageConfigHelpers)

add_library(headers INTERFACE)
target_include_directories(headers INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

install(DIRECTORY include/zan include/vokra DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS zan VokraAPI headers EXPORT vokra LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET vokra)
  install(TARGETS vokra RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(DIRECTORY examples/patches examples/help examples/pictures DESTINATION ${CMAKE_INSTALL_DATADIR}/vokra/examples
  FILES_MATCHING PATTERN "*.patch" PATTERN "*.png")
install(DIRECTORY examples/external DESTINATION ${CMAKE_INSTALL_DATADIR}/vokra/examples)
install(FILES README.md docs/expressions.md docs/externals.md docs/threads.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/vokra)
install(EXPORT vokra NAMESPACE vokra:: FILE vokraTargets.cmake DESTINATION ${package})
file(WRITE ${CMAKE_BINARY_DIR}/vokraConfig.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/vokraTargets.cmake)\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vokraConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vokraConfig.cmake ${CMAKE_BINARY_DIR}/vokraConfigVersion.cmake DESTINATION ${package})

# found from where the file lies, so that a tree may be installed anywhere and moved
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/vokra.pc.in ${CMAKE_BINARY_DIR}/vokra.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vokra.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
