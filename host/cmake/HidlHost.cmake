# C++ headers of HIDL packages, generated at build time by Debian's hidl-gen,
# and the host definitions of their interfaces.

find_program(HIDL_GEN hidl-gen REQUIRED)

set(HIDL_GEN_DIR ${CMAKE_BINARY_DIR}/hidl-gen)
set(HIDL_PACKAGE_ROOTS
    -r android.hidl:host/hidl/interfaces
    -r vendor.larkspan.hardware:interfaces)
set(HIDL_POSTPROCESS ${CMAKE_CURRENT_LIST_DIR}/HidlPostprocess.cmake)
# hidl-gen checks every frozen .hal against the hashes in current.txt.
file(GLOB_RECURSE HIDL_ALL_HALS CONFIGURE_DEPENDS
     ${C2INFO_ROOT}/interfaces/*.hal ${C2INFO_ROOT}/host/hidl/interfaces/*.hal
     ${C2INFO_ROOT}/interfaces/current.txt ${C2INFO_ROOT}/host/hidl/interfaces/current.txt)

# hidl_host_package(<package>@<major>.<minor> HAL_DIR <dir> HEADERS <var> [STUBS <var>])
# Sets HEADERS to the generated headers and, with STUBS, names a source file
# defining the package's interfaces for the host.
function(hidl_host_package package)
    cmake_parse_arguments(ARG "" "HAL_DIR;HEADERS;STUBS" "" ${ARGN})
    if(NOT package MATCHES "^([^@]+)@([0-9]+)\\.([0-9]+)$")
        message(FATAL_ERROR "not a HIDL package: ${package}")
    endif()
    string(REPLACE "." "/" path ${CMAKE_MATCH_1})
    set(out_dir ${HIDL_GEN_DIR}/${path}/${CMAKE_MATCH_2}.${CMAKE_MATCH_3})

    file(GLOB hals CONFIGURE_DEPENDS ${ARG_HAL_DIR}/*.hal)
    set(headers)
    foreach(hal ${hals})
        get_filename_component(name ${hal} NAME_WE)
        list(APPEND headers ${out_dir}/${name}.h)
    endforeach()
    set(stubs)
    if(ARG_STUBS)
        set(stubs ${out_dir}/HostInterfaces.cpp)
        set(${ARG_STUBS} ${stubs} PARENT_SCOPE)
    endif()

    add_custom_command(
        OUTPUT ${headers} ${stubs}
        COMMAND ${HIDL_GEN} -R -p ${C2INFO_ROOT} -o ${HIDL_GEN_DIR} -L c++-headers
                ${HIDL_PACKAGE_ROOTS} ${package}
        COMMAND ${CMAKE_COMMAND} -DGEN_ROOT=${HIDL_GEN_DIR} -DHEADER_DIR=${out_dir} -DSTUBS=${stubs}
                -P ${HIDL_POSTPROCESS}
        DEPENDS ${HIDL_ALL_HALS} ${HIDL_POSTPROCESS}
        COMMENT "hidl-gen ${package}"
        VERBATIM)
    set(${ARG_HEADERS} ${headers} PARENT_SCOPE)
endfunction()
