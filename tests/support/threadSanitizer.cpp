/**
 * For programs whose process ends with the subscription thread in its receive: ThreadSanitizer does
 * not see the locks of a thread that was cancelled inside a blocking call, so it takes the removal
 * of the thread's mailbox, which is locked, for a race.
 */
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions()
{
    return "race:Itc::Process::endThread\n";
}
