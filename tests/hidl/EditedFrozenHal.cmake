# A frozen interface edited without its hash updated must stop hidl-gen:
# one field of a released struct is widened in a copy of the interfaces.
# cmake -DHIDL_GEN=<hidl-gen> -DSOURCE=<repository> -DWORK=<scratch dir> -P EditedFrozenHal.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/vendor ${WORK}/base)
file(COPY ${SOURCE}/interfaces/ DESTINATION ${WORK}/vendor)
file(COPY ${SOURCE}/host/hidl/interfaces/ DESTINATION ${WORK}/base)

set(types ${WORK}/vendor/cmt/1.0/types.hal)
file(READ ${types} hal)
string(REPLACE "int32_t intValue;" "int64_t intValue;" edited "${hal}")
if(edited STREQUAL hal)
    message(FATAL_ERROR "the field to edit is gone from ${types}")
endif()
file(WRITE ${types} "${edited}")

execute_process(
    COMMAND ${HIDL_GEN} -R -p ${WORK} -L check -r android.hidl:base -r vendor.larkspan.hardware:vendor
            vendor.larkspan.hardware.cmt@1.0
    RESULT_VARIABLE result ERROR_VARIABLE errors)
if(result EQUAL 0 OR NOT errors MATCHES "cmt@1.0::types has hash [0-9a-f]+ which does not match hash on record")
    message(FATAL_ERROR "an edited frozen .hal passed (${result}): ${errors}")
endif()
