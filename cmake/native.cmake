# Libraries of this machine.
find_package(PkgConfig REQUIRED)
pkg_check_modules(SYSREPO REQUIRED IMPORTED_TARGET sysrepo>=1 sysrepo<2)
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
if(BUILD_TESTING)
  find_package(GTest REQUIRED)
endif()
