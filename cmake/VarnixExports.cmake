# A library for clients exports what its version script names, is complete in itself, is named for the
# first number of the version, and finds what it needs beside itself.
function(varnix_exports target map)
  target_link_options(${target} PRIVATE
    LINKER:--version-script=${map}
    LINKER:--no-undefined-version LINKER:-z,defs LINKER:-z,relro LINKER:-z,now)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${map}
    BUILD_RPATH "$ORIGIN"
    INSTALL_RPATH "$ORIGIN")
endfunction()
