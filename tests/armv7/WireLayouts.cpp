// Compiled for the 32-bit ARM target only (-fsyntax-only): the generated
// headers' static_asserts prove the wire layouts where the product runs, and
// DebugDescription.h proves the 368-byte snapshot record shared with the
// decoder components. The service's public headers must compile there too.
#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>
#include <DebugDescription.h>
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoService.h>
#include <vendor/larkspan/hardware/c2/info/1.0/types.h>
#include <vendor/larkspan/hardware/cmt/1.0/types.h>

static_assert(sizeof(void*) == 4, "this check is for the 32-bit target");
#if !defined(__arm__) || !defined(_LIBCPP_VERSION)
#error "the snapshot layout is proven only for 32-bit ARM with libc++"
#endif
