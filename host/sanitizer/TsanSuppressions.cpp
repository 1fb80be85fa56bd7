// Debian's libutils is not built with ThreadSanitizer, so TSan never sees the
// acquire fence in RefBase::decStrong that orders the destruction of an
// object after every earlier use through another strong pointer. Without it,
// the last sp<> of a listener going away on one thread looks like a race with
// a use that another thread finished before dropping its own reference.
// Races whose stack passes through decStrong are those; use-after-free is
// still caught by the AddressSanitizer build.
extern "C" const char* __tsan_default_suppressions() {
    return "race:android::RefBase::decStrong\n";
}
