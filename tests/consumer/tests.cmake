# What an application finds when Velmora is installed: it is, into a folder of the build, and a small program is built
# against it in both ways.
set(prefix ${CMAKE_CURRENT_BINARY_DIR}/prefix)
add_test(NAME Install.CopiesEverythingIntoOneFolder COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR}
  --prefix ${prefix})
set_tests_properties(Install.CopiesEverythingIntoOneFolder PROPERTIES FIXTURES_SETUP installed)

foreach(way cmake pkgconfig)
  set(test Install.AProgramIsBuiltAndRunsBy_${way})
  add_test(NAME ${test} COMMAND ${CMAKE_COMMAND} -D WAY=${way} -D PREFIX=${prefix} -D LIBDIR=${CMAKE_INSTALL_LIBDIR}
    -D COMPILER=${CMAKE_CXX_COMPILER} -D "FLAGS=${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_DEBUG}"
    -P ${CMAKE_CURRENT_SOURCE_DIR}/consumer/check.cmake)
  set_tests_properties(${test} PROPERTIES FIXTURES_REQUIRED installed TIMEOUT 300)
endforeach()
