/** How the sanitizers are to behave under every target. */
extern "C" {
[[gnu::visibility("default")]] const char* __asan_default_options();
[[gnu::visibility("default")]] const char* __lsan_default_suppressions();
}

/**
 * A header may claim an image of 4 GiB. To reserve that costs the fuzzer its speed, so an
 * allocation of this size fails instead, which the code under test must bear anyway.
 */
const char* __asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=256:quarantine_size_mb=64";
}

/** libconfig does not free the strings of a text in which a syntax error follows. */
const char* __lsan_default_suppressions()
{
    return "leak:strbuf_append\nleak:libconfig_yylex\n";
}
