/*
 * src/readMostlyLock.h, step by step: every line that ends in a semicolon or is in an atomic
 * block is one access to shared memory, and all of them are sequentially consistent there too, but
 * for the counts of the readers that have a slot alone: those stay in a buffer of the reader's
 * processor for as long as it likes, while the reader itself goes on.
 *
 * Readers come back as long as they like. As ALONE says, there are three and none has a slot alone,
 * but two share one; or there are two, and the last has a slot alone; or both have. Checked are
 *   exclusion  no reader and no other writer is inside with a writer (the assertions, with
 *              WRITERS=2), and nobody is left asleep when all others have gone (no process ends
 *              elsewhere than at its end);
 *   progress   a writer that wants to enter does, whatever readers do (with WRITERS=1; two of
 *              them may overtake each other for as long as they like).
 * The flag is lowered at first, or one that a writer of the process before a fork left raised.
 */

#ifndef WRITERS
#define WRITERS 1
#endif
#ifndef ALONE
#define ALONE 0
#endif
#if ALONE == 0
#define READERS 3
#else
#define READERS 2
#endif
#define SLOTS 2
#define FIRST_ALONE (READERS - ALONE)
#define isAlone (id >= FIRST_ALONE)
#define THREADS (READERS + WRITERS)

byte readers[SLOTS];  /* m_lines[]: of each slot the one counter that is used */
byte writing;         /* m_writing: */
#define NOBODY 0
#define OURS 1        /* the generation of this process */
#define LEFT_BEHIND 2 /* that of the process before the fork */

/* Who sleeps where, as the kernel knows it: on a slot, or on m_writing. */
#define ON_WRITING SLOTS
#define AWAKE 255
byte sleepsOn[THREADS] = AWAKE;

/* What a reader's processor has not shown the others yet; two counts are as many as matter. */
chan unseen[READERS] = [2] of { byte };

/* The processor shows all that it has. */
inline reveal(reader, slot)
{
    do
    :: nempty(unseen[reader]) -> unseen[reader] ? readers[slot]
    :: empty(unseen[reader]) -> break
    od
}

/* It does so sooner or later anyway. */
proctype processor(byte reader; byte slot)
{
end:
    do
    :: unseen[reader] ? readers[slot]
    od
}

/* What the checks look at. */
byte readersInside;
byte writersInside;
bool wants;

/* value.wait(old): sleeps if the value is still `old`, and looks again when woken. */
inline wait(value, old, place)
{
    do
    :: atomic { value == old -> sleepsOn[id] = place }
       sleepsOn[id] == AWAKE
    :: atomic { value != old -> break }
    od
}

/* value.notify_all() */
inline notifyAll(place)
{
    atomic {
        sleeper = 0;
        do
        :: sleeper < THREADS ->
            if
            :: sleepsOn[sleeper] == place -> sleepsOn[sleeper] = AWAKE
            :: else
            fi;
            sleeper++
        :: else -> break
        od;
        sleeper = 0
    }
}

#if ALONE > 0
inline count(slot, change)
{
    if
    :: isAlone ->
        own = own + change;
        unseen[id] ! own
    :: else ->
        readers[slot] = readers[slot] + change
    fi
}

inline wakeWriter(slot)
{
    if
    :: isAlone -> atomic { reveal(id, slot) }
    :: else
    fi;
    notifyAll(slot)
}
#else
inline count(slot, change)
{
    readers[slot] = readers[slot] + change
}

inline wakeWriter(slot)
{
    notifyAll(slot)
}
#endif

inline leave(slot)
{
    count(slot, -1);
    if
    :: writing != NOBODY -> wakeWriter(slot)
    :: writing == NOBODY
    fi
}

inline lockShared(slot)
{
    count(slot, 1);
    do
    :: writing == OURS ->
        leave(slot);
        wait(writing, OURS, ON_WRITING);
        count(slot, 1)
    :: atomic { writing == LEFT_BEHIND -> writing = NOBODY; break }
    :: writing == NOBODY -> break
    od
}

/* The barrier in every thread: each processor shows what it has, one after the other. */
inline passBarrier()
{
    passed = FIRST_ALONE;
    do
    :: passed < READERS -> atomic { reveal(passed, passed); passed++ }
    :: else -> passed = 0; break
    od
}

/* A flag that is exchanged for OURS was lowered or left behind. */
inline raiseFlag()
{
    do
    :: atomic { writing != OURS -> writing = OURS; break }
    :: writing == OURS -> wait(writing, OURS, ON_WRITING)
    od
}

inline lock()
{
    raiseFlag();
#if ALONE > 0
    passBarrier();
#endif
    slot = 0;
    do
    :: slot < SLOTS ->
        do
        :: atomic { readers[slot] != 0 -> inside = readers[slot] };
           wait(readers[slot], inside, slot)
        :: atomic { readers[slot] == 0 -> inside = 0; break }
        od;
        slot++
    :: else -> slot = 0; break
    od
}

inline unlock()
{
    writing = NOBODY;
    notifyAll(ON_WRITING)
}

proctype reader(byte id; byte slot)
{
    byte sleeper, own;
    do
    :: lockShared(slot);
       atomic { readersInside++; assert(writersInside == 0) };
       readersInside--;
       leave(slot)
    :: break
    od
}

proctype writer(byte id)
{
    byte sleeper, slot, inside, passed;
    do
    :: wants = true;
       lock();
       atomic { wants = false; writersInside++; assert(writersInside == 1 && readersInside == 0) };
       writersInside--;
       unlock()
    :: break
    od
}

init
{
    atomic {
        if
        :: writing = NOBODY
        :: writing = LEFT_BEHIND
        fi;
        run reader(0, 0);
        run reader(1, 1);
#if ALONE == 0
        run reader(2, 0);
#else
        run processor(1, 1);
#endif
#if ALONE == 2
        run processor(0, 0);
#endif
        run writer(READERS);
#if WRITERS > 1
        run writer(READERS + 1)
#endif
    }
}

ltl progress { [] (wants -> <> !wants) }
