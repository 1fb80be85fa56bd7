# Runs after hidl-gen on one package's headers (cmake -P):
# - hidl-gen 10 writes the enum value tables of types.h as non-inline
#   constexpr specialisations, which clang rejects as duplicate symbols when
#   several translation units include them: make them inline;
# - with STUBS, writes the host definitions of each interface, read from its
#   generated header: its parent, descriptor and the types it casts from.

set(types ${HEADER_DIR}/types.h)
if(EXISTS ${types})
    file(READ ${types} text)
    string(REPLACE "template<> constexpr std::array<" "template<> inline constexpr std::array<"
           text "${text}")
    file(WRITE ${types} "${text}")
endif()

if(NOT STUBS)
    return()
endif()

set(out "// Generated from the hidl-gen headers by HidlPostprocess.cmake.\n")
string(APPEND out "#include <hidl/HidlHostInterface.h>\n\n")
file(GLOB headers ${HEADER_DIR}/I*.h)
list(SORT headers)
foreach(header ${headers})
    get_filename_component(name ${header} NAME)
    if(name MATCHES "^IHw")
        continue()
    endif()
    file(READ ${header} text)
    if(NOT text MATCHES "Fully qualified interface name: \"([^\"@]+)@([0-9]+)\\.([0-9]+)::([A-Za-z0-9_]+)\"")
        message(FATAL_ERROR "${header}: no interface descriptor")
    endif()
    set(descriptor "${CMAKE_MATCH_1}@${CMAKE_MATCH_2}.${CMAKE_MATCH_3}::${CMAKE_MATCH_4}")
    string(REPLACE "." "::" namespace ${CMAKE_MATCH_1})
    set(iface "${namespace}::V${CMAKE_MATCH_2}_${CMAKE_MATCH_3}::${CMAKE_MATCH_4}")
    if(NOT text MATCHES "struct [A-Za-z0-9_]+ : public ([A-Za-z0-9_:]+) {")
        message(FATAL_ERROR "${header}: no parent interface")
    endif()
    set(parent ${CMAKE_MATCH_1})
    string(REGEX MATCHALL "castFrom\\(const ::android::sp<[A-Za-z0-9_:]+>& parent" casts "${text}")

    file(RELATIVE_PATH include_path ${GEN_ROOT} ${header})
    string(APPEND out "#include <${include_path}>\n")
    string(APPEND out "HIDL_HOST_INTERFACE(${iface}, ${parent}, \"${descriptor}\")\n")
    foreach(cast ${casts})
        string(REGEX REPLACE ".*sp<([A-Za-z0-9_:]+)>.*" "\\1" from "${cast}")
        string(APPEND out "HIDL_HOST_CAST(${iface}, ${from})\n")
    endforeach()
    string(APPEND out "\n")
endforeach()
file(WRITE ${STUBS} "${out}")
