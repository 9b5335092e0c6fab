#include "tpt.h"

#include <string.h>

/* On a host the short form is the file's name without its directories. */
__attribute__((visibility("default"))) const char* tpt_short_fname(const char* path)
{
    const char* const slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}
