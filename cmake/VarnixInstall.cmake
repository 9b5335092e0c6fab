# What is installed belongs to exactly one of these components: runtime (the libraries), dev (what
# clients build with), platform (the host's libitc and libtpt), tools, server, and python (its package).
set(VARNIX_ZSH_COMPLETIONS zsh/site-functions CACHE STRING
  "Where zsh looks for completions, below the data directory")

# A command's completion for each shell, which asks the command itself.
function(varnix_install_completion COMMAND component)
  string(MAKE_C_IDENTIFIER ${COMMAND} FUNCTION)
  foreach(file bash:bash-completion/completions/${COMMAND} zsh:${VARNIX_ZSH_COMPLETIONS}/_${COMMAND}
          fish:fish/vendor_completions.d/${COMMAND}.fish)
    string(REPLACE ":" ";" file ${file})
    list(GET file 0 shell)
    list(GET file 1 path)
    configure_file(${PROJECT_SOURCE_DIR}/completions/${shell}.in
      ${PROJECT_BINARY_DIR}/completions/${path} @ONLY)
    get_filename_component(directory ${path} DIRECTORY)
    install(FILES ${PROJECT_BINARY_DIR}/completions/${path}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/${directory} COMPONENT ${component})
  endforeach()
endfunction()

if(VARNIX_BUILD_TOOLS)
  varnix_install_completion(varnix tools)
  include(VarnixVim)
endif()
if(NOT VARNIX_BUILD_LIBRARY)
  return()
endif()

include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/varnix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/include/varnix/version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnix COMPONENT dev)

install(TARGETS varnix varnix_c varnix_kit EXPORT varnix-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(EXPORT varnix-targets NAMESPACE varnix:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/varnix
  COMPONENT dev)

if(VARNIX_PLATFORM STREQUAL "host")
  install(TARGETS varnix_itc varnix_tpt
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform NAMELINK_SKIP)
endif()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/varnix-config.cmake.in
  ${PROJECT_BINARY_DIR}/cmake/varnix-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/varnix PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/varnix-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/varnix-config.cmake
  ${PROJECT_BINARY_DIR}/cmake/varnix-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/varnix COMPONENT dev)

# Relative, so that an installed tree may be moved.
file(RELATIVE_PATH VARNIX_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VARNIX_PC_TO_PREFIX ${VARNIX_PC_TO_PREFIX})
foreach(name varnix varnix-c varnix-kit)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT dev)
endforeach()

# Pure Python, so it is in lib/ whatever the library directory is called.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/varnix DESTINATION lib/python3/dist-packages
  COMPONENT python FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)

if(VARNIX_BUILD_TOOLS AND VARNIX_PLATFORM STREQUAL "host")
  varnix_install_completion(dbcsi-server server)
  configure_file(${PROJECT_SOURCE_DIR}/share/dbcsi-server.service.in
    ${PROJECT_BINARY_DIR}/dbcsi-server.service @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/dbcsi-server.service DESTINATION lib/systemd/user
    COMPONENT server)
endif()
