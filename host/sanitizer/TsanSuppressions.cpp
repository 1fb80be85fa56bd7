// Debian's libutils is not built with ThreadSanitizer, so TSan never sees the
// acquire fence in RefBase::decStrong that orders the destruction of an
// object after every earlier use through another strong pointer. Without it,
// the last sp<> of a listener going away on one thread looks like a race with
// a use that another thread finished before dropping its own reference.
// Races whose stack passes through decStrong are those; use-after-free is
// still caught by the AddressSanitizer build.
//
// glibc serializes tzset, which mktime and localtime call, under a lock of
// its own that TSan does not see either: the time zone string it frees and
// copies again on each call (TZ unset) looks raced when libzip converts
// entry times on two threads of c2info-triage.
extern "C" const char* __tsan_default_suppressions() {
    return "race:android::RefBase::decStrong\n"
           "race:tzset_internal\n";
}
