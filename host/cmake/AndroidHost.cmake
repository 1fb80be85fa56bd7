# Debian's packages of the platform's libutils, libcutils, liblog and
# libbase: headers in /usr/include/android, libraries in a private
# directory without pkg-config files.
set(ANDROID_HOST_INCLUDE_DIR /usr/include/android)
set(ANDROID_HOST_LIBRARY_DIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)

foreach(lib utils cutils log base)
    find_library(ANDROID_HOST_${lib}_LIBRARY ${lib} PATHS ${ANDROID_HOST_LIBRARY_DIR}
                 NO_DEFAULT_PATH REQUIRED)
    add_library(android::${lib} SHARED IMPORTED GLOBAL)
    set_target_properties(android::${lib} PROPERTIES
        IMPORTED_LOCATION ${ANDROID_HOST_${lib}_LIBRARY}
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDE_DIR}
        INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDE_DIR})
endforeach()
