# Adds one floor of the house as a shared library of all the sources below its folder. Private libraries
# are named in sources only, never in public headers.
function(velmora_library name folder)
  cmake_parse_arguments(ARG "" "" "PUBLIC;PRIVATE;EXCLUDE" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  foreach(pattern IN LISTS ARG_EXCLUDE)
    list(FILTER sources EXCLUDE REGEX "${pattern}")
  endforeach()
  add_library(${name} SHARED ${sources})
  string(REPLACE velmora- "" export_name ${name})
  add_library(Velmora::${export_name} ALIAS ${name})
  velmora_warnings(${name})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmora-0>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  target_compile_features(${name} PUBLIC cxx_std_20)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${export_name} INSTALL_RPATH $ORIGIN)
endfunction()

# Warnings are errors everywhere. g++ 12 warns falsely of variants that hold vectors, and of texts
# that are joined, when it optimises.
function(velmora_warnings name)
  target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wno-unused-result -Werror
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-error=maybe-uninitialized;-Wno-restrict>)
endfunction()
