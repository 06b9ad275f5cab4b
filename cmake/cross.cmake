# Libraries of the cross builds: headers that are the same for every architecture, and
# GoogleTest from its sources.

# The machine's include directory also contains the headers of its C library, so this links the
# needed headers into a separate directory.
set(staged ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${staged})
foreach(header sysrepo.h sysrepo libyang nlohmann fmt CLI asio)
  file(CREATE_LINK /usr/include/${header} ${staged}/${header} SYMBOLIC)
endforeach()

set(SYSREPO_INCLUDE_DIRS ${staged})
foreach(package fmt::fmt nlohmann_json::nlohmann_json CLI11::CLI11)
  add_library(${package} INTERFACE IMPORTED)
  target_include_directories(${package} SYSTEM INTERFACE ${staged})
endforeach()
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)

# The real library runs only on this machine's architecture, so the shared object is linked
# with the scripted sysrepo.
add_library(PkgConfig::SYSREPO INTERFACE IMPORTED)
target_link_libraries(PkgConfig::SYSREPO INTERFACE scripted_sysrepo_shared)

# With 64-bit times, a 32-bit C library has other names for the system calls that tests observe.
add_compile_options(-U_TIME_BITS)

set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gmock)
  target_compile_options(${library} PRIVATE -O0)
endforeach()
