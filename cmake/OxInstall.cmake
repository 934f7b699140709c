# How applications take in libOxLutEffect: the target's usage requirements
# (for builds that add this project as a subdirectory), and what
# `cmake --install` and the Debian package put into the prefix. Only the
# public header, the shared library, its CMake and pkg-config files and the
# oxlut tool are installed; the static libraries, internal headers, tests and
# benchmarks stay in the build tree.
include(GNUInstallDirs)

# Applications include <oxlut3d.h>; a copy in the build tree keeps the
# internal headers beside it in lut/ off their include path.
configure_file(${PROJECT_SOURCE_DIR}/lut/oxlut3d.h ${PROJECT_BINARY_DIR}/include/oxlut3d.h COPYONLY)
target_include_directories(OxLutEffect INTERFACE
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# Android packs libraries by their plain file name and loads them by their
# SONAME, so there the two must be the same: no version suffix.
if(NOT ANDROID)
    set_target_properties(OxLutEffect PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endif()

if(NOT OXLUT_INSTALL)
    return()
endif()
include(CMakePackageConfigHelpers)

set(_ox_cmakedir ${CMAKE_INSTALL_LIBDIR}/cmake/OxLutEffect)
install(TARGETS OxLutEffect EXPORT OxLutEffectTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/lut/oxlut3d.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The library has no dependencies a user must find, so the exported targets
# are the whole package configuration.
install(EXPORT OxLutEffectTargets NAMESPACE OxLutEffect::
    FILE OxLutEffectConfig.cmake DESTINATION ${_ox_cmakedir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OxLutEffectConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OxLutEffectConfigVersion.cmake DESTINATION ${_ox_cmakedir})

# The pkg-config file finds the prefix from its own place, so the installed
# tree may be moved (an unpacked package, a per-ABI prefix copied elsewhere).
function(_ox_pc_path var dir)
    if(IS_ABSOLUTE "${dir}")
        set(${var} "${dir}" PARENT_SCOPE)
    else()
        set(${var} "\${prefix}/${dir}" PARENT_SCOPE)
    endif()
endfunction()
file(RELATIVE_PATH OX_PC_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
string(REGEX REPLACE "/$" "" OX_PC_PREFIX "${OX_PC_PREFIX}")
_ox_pc_path(OX_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
_ox_pc_path(OX_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/OxLutEffect.pc.in ${PROJECT_BINARY_DIR}/OxLutEffect.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/OxLutEffect.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET oxlut_cli)
    # The tool finds the library beside it wherever the prefix is.
    set_target_properties(oxlut_cli PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS oxlut_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# ./scripts/package: one Debian package of everything installed above.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME liboxluteffect)
set(CPACK_PACKAGE_VENDOR "libOxLutEffect")
set(CPACK_PACKAGE_CONTACT "libOxLutEffect developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "3D LUT colour grading of NV12/NV21 frames: library, header, CMake and pkg-config files, oxlut tool")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
