/*
 * A program in C that knows nothing of C++ loads, uses and unloads a plugin that links the library:
 *     plain_loader PLUGIN CONFIG TIMES
 */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int is_mapped(const char* name)
{
    char line[4096];
    int found = 0;
    FILE* const maps = fopen("/proc/self/maps", "r");
    while (maps != NULL && fgets(line, sizeof line, maps) != NULL)
        found |= strstr(line, name) != NULL;
    if (maps != NULL)
        fclose(maps);
    return found;
}

int main(int argc, char** argv)
{
    int i = 0;
    if (argc != 4)
        return 2;
    for (i = atoi(argv[3]); i > 0; --i) {
        int (*count_elements)(const char*) = NULL;
        void* const plugin = dlopen(argv[1], RTLD_NOW);
        void* const symbol = plugin != NULL ? dlsym(plugin, "countElements") : NULL;
        if (symbol == NULL) {
            fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        memcpy(&count_elements, &symbol, sizeof symbol);
        if (count_elements(argv[2]) != 4 || dlclose(plugin) != 0 || is_mapped("libvarnix")) {
            fprintf(stderr, "not used or not unloaded\n");
            return 1;
        }
    }
    return 0;
}
