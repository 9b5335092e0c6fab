# The warnings of the project's own code, as a target to link privately: never forced on users.
add_library(varnix_warnings INTERFACE)
target_compile_options(varnix_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2
  -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual>
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-Wlogical-op -Wduplicated-cond>)
# g++ 12 sees overlaps in std::string's own operator+ that are not there (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(varnix_warnings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
if(VARNIX_WERROR)
  target_compile_options(varnix_warnings INTERFACE -Werror)
endif()
# With a sanitizer, g++ 12 takes std::regex's own functions for uninitialised (GCC bug 105562).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_options(varnix_warnings INTERFACE -Wno-maybe-uninitialized)
endif()
