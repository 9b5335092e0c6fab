#include <tpt.h>

/* The path whole, so that a record shows what a node's own library is given. */
const char* tpt_short_fname(const char* path)
{
    return path;
}
