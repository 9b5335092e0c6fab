#ifndef VARNIX_VARNIX_H
#define VARNIX_VARNIX_H

/**
 * The parameters of one component, for C: libvarnix-c, over the C++ interface of databaseIf.h.
 * Build with pkg-config varnix-c or the CMake target varnix::varnix-c, in C99 or later, or in C++.
 *
 * Status: every call that can fail returns a varnix_status. No call throws or prints; bad use is
 * VARNIX_BAD_ARGUMENT and does nothing.
 *
 * Outputs: after VARNIX_OK they hold what the call says. After VARNIX_NO_ROOM the sizes are set and
 * the values untouched. After any other status every output is untouched, and a function that was
 * to be called with a value has not been called.
 *
 * Ownership: everything that is passed in stays the caller's, and is used during the call only.
 * Only varnix_open gives something to the caller, a handle, which varnix_close takes back.
 *
 * Threads: any number may read through one handle at the same time, also from inside a function
 * that a varnix_visit call calls. varnix_close comes after the last read has returned. A read gives
 * a value as it was before or after an operator's write, never a mixture; two reads are not one
 * step. Reads never wait for each other.
 *
 * Memory: a handle has eight buffers. A read uses one that is free, or, where eight reads through
 * the handle are running at once, one of its own that it makes and frees. A buffer grows to the
 * largest key and value that were read through it and is freed by varnix_close. So a read of
 * numbers or of a text allocates nothing once its buffer has room; a read of words allocates each
 * time, as the C++ interface does. Nothing else allocates but varnix_open.
 *
 * What a visitor may do: it may read, also through the same handle, and be cancelled with its
 * thread. It must not leave by longjmp. An exception that it throws becomes VARNIX_FAILED,
 * std::bad_alloc VARNIX_OUT_OF_MEMORY.
 */

#include <stddef.h>
#include <stdint.h>
#include <varnix/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What a call came to. Numbers are never given another meaning; later versions may add some. */
typedef enum varnix_status
{
    /** Done; the outputs are set. */
    VARNIX_OK = 0,
    /** Neither the production database nor the component's holds the key. */
    VARNIX_KEY_NOT_FOUND = 1,
    /** The key exists with another type than the call's, or without one; nothing is converted. */
    VARNIX_TYPE_MISMATCH = 2,
    /** The value does not fit; the outputs for sizes say how much room it needs. */
    VARNIX_NO_ROOM = 3,
    /** A null handle, a null or empty key or path, a null output or function. */
    VARNIX_BAD_ARGUMENT = 4,
    /** The database cannot be built from its files; varnix explain or varnix trace says why. */
    VARNIX_NO_DATABASE = 5,
    /** Memory is exhausted. */
    VARNIX_OUT_OF_MEMORY = 6,
    /** The system refused something else, as a lock, or a function that was called back threw. */
    VARNIX_FAILED = 7
} varnix_status;

/**
 * The name of a status as it is written here, "VARNIX_OK" and so on; "unknown status" for a number
 * that is none. The text is the library's and lives as long as it is loaded. Any thread.
 */
VARNIX_EXPORT const char* varnix_status_name(int status);

/** The version of the library, "MAJOR.MINOR.PATCH"; lives as long as the library is loaded. */
VARNIX_EXPORT const char* varnix_version(void);

/** The parameters of one component, with the node's production database in front of them. */
typedef struct varnix_database varnix_database;

/**
 * Builds the database of one component from the configuration file at a path and stores its handle
 * in `*database`. The first call of a process reads the production database and starts the thread
 * that receives run-time writes. Returns VARNIX_OK, VARNIX_BAD_ARGUMENT, VARNIX_NO_DATABASE,
 * VARNIX_OUT_OF_MEMORY or VARNIX_FAILED.
 */
VARNIX_EXPORT varnix_status varnix_open(const char* configuration, varnix_database** database);

/**
 * Ends a handle and frees what belongs to it. Nobody may be reading through it, or read through it
 * again. Returns VARNIX_OK, or VARNIX_BAD_ARGUMENT where it is null.
 */
VARNIX_EXPORT varnix_status varnix_close(varnix_database* database);

/**
 * Read all elements of a parameter of one type into `values`, which has room for `capacity` of
 * them, and store their number in `*count`; it may be 0. Where they do not fit, `*count` is the
 * number there are and the result VARNIX_NO_ROOM: so a call with a capacity of 0, whose `values`
 * may be null, asks for the number. An operator may change it before the next call.
 *
 * Return any status but VARNIX_NO_DATABASE.
 */
VARNIX_EXPORT varnix_status varnix_get_u32(const varnix_database* database, const char* key,
                                           uint32_t* values, size_t capacity, size_t* count);
VARNIX_EXPORT varnix_status varnix_get_u16(const varnix_database* database, const char* key,
                                           uint16_t* values, size_t capacity, size_t* count);
VARNIX_EXPORT varnix_status varnix_get_u8(const varnix_database* database, const char* key,
                                          uint8_t* values, size_t capacity, size_t* count);
VARNIX_EXPORT varnix_status varnix_get_s32(const varnix_database* database, const char* key,
                                           int32_t* values, size_t capacity, size_t* count);
VARNIX_EXPORT varnix_status varnix_get_s16(const varnix_database* database, const char* key,
                                           int16_t* values, size_t capacity, size_t* count);
VARNIX_EXPORT varnix_status varnix_get_s8(const varnix_database* database, const char* key,
                                          int8_t* values, size_t capacity, size_t* count);

/**
 * Reads a CHAR parameter as one text, blanks and NUL bytes included, and ends it with a NUL. `text`
 * has room for `capacity` bytes, the last NUL included; `*length` becomes the length without it. A
 * text fits where its length is less than `capacity`; else the result is VARNIX_NO_ROOM. `text` may
 * be null where `capacity` is 0. Returns any status but VARNIX_NO_DATABASE.
 */
VARNIX_EXPORT varnix_status varnix_get_text(const varnix_database* database, const char* key,
                                            char* text, size_t capacity, size_t* length);

/**
 * Reads a CHAR parameter as its words, the runs of characters between blanks: one after the other
 * into `words`, each ended by a NUL, in `*size` bytes together. `words` has room for `capacity`
 * bytes; `*count` becomes the number of words. Where they do not fit, `*size` and `*count` are set
 * and the result is VARNIX_NO_ROOM. `words` may be null where `capacity` is 0. A word that itself
 * holds a NUL looks like two here; varnix_visit_words gives each with its length. Returns any
 * status but VARNIX_NO_DATABASE.
 */
VARNIX_EXPORT varnix_status varnix_get_words(const varnix_database* database, const char* key,
                                             char* words, size_t capacity, size_t* size,
                                             size_t* count);

/**
 * What a varnix_visit call calls, once, with all elements of a parameter or its text: the pointer
 * is never null, is good until the function returns, and for a text leads to `length` bytes and a
 * NUL. For words once for each, in order, and not at all where there are none.
 */
typedef void (*varnix_u32_visitor)(const uint32_t* values, size_t count, void* context);
typedef void (*varnix_u16_visitor)(const uint16_t* values, size_t count, void* context);
typedef void (*varnix_u8_visitor)(const uint8_t* values, size_t count, void* context);
typedef void (*varnix_s32_visitor)(const int32_t* values, size_t count, void* context);
typedef void (*varnix_s16_visitor)(const int16_t* values, size_t count, void* context);
typedef void (*varnix_s8_visitor)(const int8_t* values, size_t count, void* context);
typedef void (*varnix_text_visitor)(const char* text, size_t length, void* context);

/**
 * Read a parameter of one type and call `visitor` with its value, on the calling thread, before
 * they return; `context` is passed on and may be null. One call reads size and value in one step,
 * without room of the caller's. No lock is held meanwhile, so the function may read, open and close
 * other handles, and take its time.
 *
 * Return any status but VARNIX_NO_DATABASE and VARNIX_NO_ROOM.
 */
VARNIX_EXPORT varnix_status varnix_visit_u32(const varnix_database* database, const char* key,
                                             varnix_u32_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_u16(const varnix_database* database, const char* key,
                                             varnix_u16_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_u8(const varnix_database* database, const char* key,
                                            varnix_u8_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_s32(const varnix_database* database, const char* key,
                                             varnix_s32_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_s16(const varnix_database* database, const char* key,
                                             varnix_s16_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_s8(const varnix_database* database, const char* key,
                                            varnix_s8_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_text(const varnix_database* database, const char* key,
                                              varnix_text_visitor visitor, void* context);
VARNIX_EXPORT varnix_status varnix_visit_words(const varnix_database* database, const char* key,
                                               varnix_text_visitor visitor, void* context);

#ifdef __cplusplus
}
#endif

#endif
