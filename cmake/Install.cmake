# Installation, and the package config that `find_package(zorvel)` reads.

include(CMakePackageConfigHelpers)

set(installed "")
foreach(library zorvel veskor)
  if(TARGET ${library})
    list(APPEND installed ${library})
  endif()
endforeach()
if(installed)
  install(TARGETS ${installed} EXPORT zorvel-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(EXPORT zorvel-targets NAMESPACE zorvel:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorvel)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zorvel-config.cmake.in
                                ${PROJECT_BINARY_DIR}/zorvel-config.cmake
                                INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorvel)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/zorvel-config-version.cmake
                                   COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/zorvel-config.cmake ${PROJECT_BINARY_DIR}/zorvel-config-version.cmake
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorvel)
endif()
file(GLOB public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
install(FILES ${public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(program zorvel_program veskor_run)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
