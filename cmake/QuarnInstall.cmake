# Installation: headers, the library, a CMake package (find_package(Quarn CONFIG)) and quarn.pc.
include(CMakePackageConfigHelpers)

install(TARGETS quarn EXPORT QuarnTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/quarn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(QUARN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Quarn)
install(EXPORT QuarnTargets NAMESPACE Quarn:: DESTINATION ${QUARN_CMAKE_DIR})
configure_package_config_file(cmake/QuarnConfig.cmake.in ${PROJECT_BINARY_DIR}/QuarnConfig.cmake
    INSTALL_DESTINATION ${QUARN_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuarnConfigVersion.cmake
    COMPATIBILITY ExactVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuarnConfig.cmake ${PROJECT_BINARY_DIR}/QuarnConfigVersion.cmake
    DESTINATION ${QUARN_CMAKE_DIR})

if(QUARN_BUILD_SHARED)
    set(QUARN_PC_CFLAGS "")
else()
    set(QUARN_PC_CFLAGS "-DQUARN_STATIC")
endif()
configure_file(cmake/quarn.pc.in ${PROJECT_BINARY_DIR}/quarn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quarn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(QUARN_BUILD_TOOLS)
    install(TARGETS quarn-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
