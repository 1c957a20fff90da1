# Builds and runs the consumer against an installed Velmora: cmake -D WAY=cmake|pkgconfig -D PREFIX=... -P check.cmake
# COMPILER and FLAGS are those that Velmora was built with: a sanitizer's runtime must be the same everywhere.
set(work ${PREFIX}-${WAY})
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work})
set(source ${CMAKE_CURRENT_LIST_DIR})

if(WAY STREQUAL "cmake")
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} -S ${source} -B ${work} -G Ninja
    -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}")
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --build ${work})
else()
  set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND pkg-config --cflags --libs velmora
    OUTPUT_VARIABLE needed OUTPUT_STRIP_TRAILING_WHITESPACE)
  separate_arguments(arguments UNIX_COMMAND "${FLAGS} ${source}/main.cpp -o ${work}/consumer ${needed}")
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${COMPILER} ${arguments} -Wl,-rpath,${PREFIX}/${LIBDIR})
endif()
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${work}/consumer)
