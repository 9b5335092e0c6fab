/**
 * The unwinding of a thread that is cancelled leaves the sanitizer's marks of its frames on the
 * stack, where a call of the sanitizer's own then finds them.
 */
extern "C" [[gnu::visibility("default")]] const char* __asan_default_suppressions();

const char* __asan_default_suppressions()
{
    return "interceptor_name:sigaltstack\n";
}
