# Velmora installs with what find_package(Velmora) and pkg-config need. A package can be moved as a whole: nothing in it
# names the folder that it was installed to.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/velmora-0)
set(packages ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora)

install(TARGETS velmora velmora-platform velmora-drivers EXPORT VelmoraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT development)
install(TARGETS velmora-window LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET velmora-faces)
  install(TARGETS velmora-faces LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(TARGET velmora-pipewire)
  install(TARGETS velmora-pipewire LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(TARGET velmora-camera)
  install(TARGETS velmora-camera)
  install(DIRECTORY apps/camera/resources/ DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora-camera)
endif()

install(DIRECTORY platform velmora DESTINATION ${headers} FILES_MATCHING PATTERN *.h)
install(FILES drivers/installDefaults.h drivers/openDisplay.h DESTINATION ${headers}/drivers)
install(FILES drivers/phone/VirtualPhone.h drivers/phone/PhoneDescription.h DESTINATION ${headers}/drivers/phone)
install(FILES drivers/offscreen/OffscreenDisplay.h DESTINATION ${headers}/drivers/offscreen)
install(DIRECTORY velmora/resources/ DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora OPTIONAL)
install(FILES LICENSE docs/licences.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

install(EXPORT VelmoraTargets NAMESPACE Velmora:: DESTINATION ${packages})
configure_package_config_file(cmake/VelmoraConfig.cmake.in ${PROJECT_BINARY_DIR}/VelmoraConfig.cmake
  INSTALL_DESTINATION ${packages})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VelmoraConfig.cmake ${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake
  DESTINATION ${packages})

# From the folder of velmora.pc back to the prefix.
file(RELATIVE_PATH to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/velmora.pc.in ${PROJECT_BINARY_DIR}/velmora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
