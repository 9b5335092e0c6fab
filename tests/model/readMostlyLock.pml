/*
 * src/readMostlyLock.h, step by step: every line that ends in a semicolon or stands in an atomic
 * block is one access to shared memory, and all of them are sequentially consistent there too.
 *
 * Two readers share a slot, one has its own, and all come back as long as they like. Checked are
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
#define READERS 3
#define SLOTS 2
#define THREADS (READERS + WRITERS)

byte readers[SLOTS];  /* m_slots[].readers */
byte writing;         /* m_writing: */
#define NOBODY 0
#define OURS 1        /* the generation of this process */
#define LEFT_BEHIND 2 /* that of the process before the fork */

/* Who sleeps where, as the kernel knows it: on a slot, or on m_writing. */
#define ON_WRITING SLOTS
#define AWAKE 255
byte sleepsOn[THREADS] = AWAKE;

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

inline leave(slot)
{
    readers[slot]--;
    if
    :: writing != NOBODY -> notifyAll(slot)
    :: writing == NOBODY
    fi
}

inline lockShared(slot)
{
    readers[slot]++;
    do
    :: writing == OURS ->
        leave(slot);
        wait(writing, OURS, ON_WRITING);
        readers[slot]++
    :: atomic { writing == LEFT_BEHIND -> writing = NOBODY; break }
    :: writing == NOBODY -> break
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
    byte sleeper;
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
    byte sleeper, slot, inside;
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
        run reader(1, 0);
        run reader(2, 1);
        run writer(READERS);
#if WRITERS > 1
        run writer(READERS + 1)
#endif
    }
}

ltl progress { [] (wants -> <> !wants) }
