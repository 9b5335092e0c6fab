# The warnings of the project's own code, as a target to link privately: never forced on users.
add_library(varnix_warnings INTERFACE)
target_compile_options(varnix_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2
  -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual>
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-Wlogical-op -Wduplicated-cond>)
if(VARNIX_WERROR)
  target_compile_options(varnix_warnings INTERFACE -Werror)
endif()
