# The plug-in's host is a program of this machine, not instrumented. Sets
# SANITIZER_RUNTIME to what has to be loaded into it when the plug-in is.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set(runtime libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
  else()
    set(runtime libasan.so)
  endif()
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
                  OUTPUT_VARIABLE SANITIZER_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
  # What the linker reads may be a script; the loader needs the library.
  file(REAL_PATH ${SANITIZER_RUNTIME} SANITIZER_RUNTIME)
endif()
