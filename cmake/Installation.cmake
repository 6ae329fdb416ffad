# What `cmake --install` puts where. Everything can be moved together afterwards: paths are relative.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/MOXSubscribe)

install(TARGETS MOXSubscribe EXPORT MOXSubscribeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/MOXSubscribe)
install(EXPORT MOXSubscribeTargets NAMESPACE MOXSubscribe:: DESTINATION ${package_folder})
install(DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/MOXSubscribe.framework
  DESTINATION ${CMAKE_INSTALL_DATADIR}/MOXSubscribe)

configure_package_config_file(cmake/MOXSubscribeConfig.cmake.in ${PROJECT_BINARY_DIR}/MOXSubscribeConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/MOXSubscribeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/MOXSubscribeConfig.cmake
              ${PROJECT_BINARY_DIR}/MOXSubscribeConfigVersion.cmake
  DESTINATION ${package_folder})

file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/moxsubscribe.pc.in moxsubscribe.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/moxsubscribe.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The client is an application bundle, so that it can carry templates; `bin` has a link to its program.
set(client_contents ${CMAKE_INSTALL_LIBEXECDIR}/moxsubscribe/MOXSubscribe.app/Contents)
set(program_folder ${client_contents}/MacOS)
configure_file(Tools/moxsubscribe/Info.plist ${PROJECT_BINARY_DIR}/client/Info.plist @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/client/Info.plist DESTINATION ${client_contents})
file(RELATIVE_PATH library_from_program
  ${CMAKE_INSTALL_PREFIX}/${program_folder} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(moxsubscribe PROPERTIES INSTALL_RPATH "$ORIGIN/${library_from_program}")
install(TARGETS moxsubscribe RUNTIME DESTINATION ${program_folder})
file(RELATIVE_PATH program_from_bin
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_PREFIX}/${program_folder}/moxsubscribe)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/install-link)
file(CREATE_LINK ${program_from_bin} ${PROJECT_BINARY_DIR}/install-link/moxsubscribe SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/install-link/moxsubscribe DESTINATION ${CMAKE_INSTALL_BINDIR})

# Stubs are copies that lie anywhere, so their launcher names the library's folder from the root.
get_target_property(build_folder launcher MOX_LIBRARY_FOLDER)
foreach(template IN ITEMS "DockApplication.app" "Korvan Viewer.app")
  install(DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${template}" DESTINATION ${client_contents}/Helpers
    USE_SOURCE_PERMISSIONS)
  install(CODE "file(RPATH_CHANGE
    FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${client_contents}/Helpers/${template}/Contents/MacOS/launcher\"
    OLD_RPATH \"${build_folder}\" NEW_RPATH \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")")
endforeach()

install(FILES Tools/moxsubscribe/moxsubscribe.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES Tools/moxsubscribe/completion/moxsubscribe.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME moxsubscribe)
install(FILES Tools/moxsubscribe/completion/_moxsubscribe
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
