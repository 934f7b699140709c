# Lists the dynamic symbols that LIBRARY defines and fails on any that is not
# part of the public interface.
execute_process(COMMAND ${NM} -D --defined-only -C ${LIBRARY}
                OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${out}")
set(allowed
    "^COxString::"
    "^SOxArrayData::(allocate|reallocateUnaligned|deallocate|shared_null)"
    "^Oxc(Lut3DLoadTableFromFile|Lut3DDestroyTable|Lut3DCreateEffect|Lut3DDestroyEffect|Lut3DRenderEffect)$"
    # COxString's free operators
    "^operator[^ ]*\\(.*COxString")
set(count 0)
set(bad "")
foreach(line IN LISTS lines)
    if(line STREQUAL "")
        continue()
    endif()
    # "<address> <type> <name>"
    string(REGEX REPLACE "^[0-9a-fA-F]+ [A-Za-z] " "" name "${line}")
    set(ok FALSE)
    foreach(pattern IN LISTS allowed)
        if(name MATCHES "${pattern}")
            set(ok TRUE)
        endif()
    endforeach()
    if(ok)
        math(EXPR count "${count} + 1")
    else()
        string(APPEND bad "  ${line}\n")
    endif()
endforeach()
if(NOT bad STREQUAL "")
    message(FATAL_ERROR "unexpected exported symbols:\n${bad}")
endif()
message(STATUS "${count} exported symbols, all public")
