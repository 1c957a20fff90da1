# Velmora installs with what find_package(Velmora) and pkg-config need.
include(CMakePackageConfigHelpers)
