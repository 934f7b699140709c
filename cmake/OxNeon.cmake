# NEON kernels are written once with Arm intrinsics. On arm64 they compile to
# real Advanced SIMD instructions; on any other processor the same source is
# translated by the header-only SIMDe library. The interface target ox_neon
# carries what a translation unit needs to include core/oxneon.h.
add_library(ox_neon INTERFACE)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
    set(OX_NEON_NATIVE ON)
    target_compile_definitions(ox_neon INTERFACE OX_NEON_NATIVE=1)
else()
    set(OX_NEON_NATIVE OFF)
    find_path(SIMDE_INCLUDE_DIR simde/arm/neon.h)
    if(NOT SIMDE_INCLUDE_DIR)
        message(FATAL_ERROR "SIMDe (libsimde-dev) is required to build the NEON kernels on ${CMAKE_SYSTEM_PROCESSOR}")
    endif()
    target_include_directories(ox_neon SYSTEM INTERFACE ${SIMDE_INCLUDE_DIR})
    target_compile_definitions(ox_neon INTERFACE OX_NEON_SIMDE=1)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
        # SSE4.1 is present on every x86-64 machine that runs this library's
        # host tools; it lets SIMDe map most NEON operations one to one.
        target_compile_options(ox_neon INTERFACE -msse4.1)
    endif()
endif()
message(STATUS "NEON kernels: ${OX_NEON_NATIVE} (native), SIMDe otherwise")
