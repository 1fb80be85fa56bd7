// Compiled for the 32-bit ARM target only (-fsyntax-only): the generated
// headers' static_asserts prove the wire layouts where the product runs.
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoService.h>
#include <vendor/larkspan/hardware/c2/info/1.0/types.h>
#include <vendor/larkspan/hardware/cmt/1.0/types.h>

static_assert(sizeof(void*) == 4, "this check is for the 32-bit target");
