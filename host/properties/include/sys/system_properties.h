// glibc has no system property area; <cutils/properties.h> only needs the
// size limits from here. property_get/property_set come from properties.cpp.
#pragma once

#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92
