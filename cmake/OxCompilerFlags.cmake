# Warning and sanitizer flags shared by every target of the project, carried by
# the interface target ox_flags.
add_library(ox_flags INTERFACE)

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(ox_flags INTERFACE -Wall -Wextra -Wno-unused-parameter)
    if(OXLUT_WERROR)
        target_compile_options(ox_flags INTERFACE -Werror)
    endif()
    if(OXLUT_SANITIZE)
        string(REPLACE "," ";" _ox_sans "${OXLUT_SANITIZE}")
        foreach(_s IN LISTS _ox_sans)
            target_compile_options(ox_flags INTERFACE -fsanitize=${_s})
            target_link_options(ox_flags INTERFACE -fsanitize=${_s})
        endforeach()
        target_compile_options(ox_flags INTERFACE -fno-omit-frame-pointer -fno-sanitize-recover=all)
    endif()
    if(OXLUT_BUILD_FUZZERS)
        # Coverage feedback for the fuzzer in every object; the fuzz targets
        # add the fuzzer's own main at link time.
        target_compile_options(ox_flags INTERFACE -fsanitize=fuzzer-no-link)
    endif()
endif()
