#include <stdio.h>
#include <stdlib.h>
#include <varnix/varnix.h>

/* Reads a parameter by two calls, the first for its size, and prints its elements. */
#define PRINT_NUMBERS(type, suffix, number)                                                        \
    static int print_##suffix(const varnix_database* database)                                     \
    {                                                                                              \
        size_t count = 0;                                                                          \
        size_t i;                                                                                  \
        type* values;                                                                              \
        varnix_status status = varnix_get_##suffix(database, "/" #suffix, NULL, 0, &count);        \
        if (status != VARNIX_NO_ROOM)                                                              \
            return 1;                                                                              \
        values = malloc(count * sizeof *values);                                                   \
        if (values == NULL)                                                                        \
            return 1;                                                                              \
        status = varnix_get_##suffix(database, "/" #suffix, values, count, &count);                \
        printf(#suffix);                                                                           \
        for (i = 0; status == VARNIX_OK && i < count; ++i)                                         \
            printf(" %" number, (values)[i]);                                                      \
        printf("\n");                                                                              \
        free(values);                                                                              \
        return status != VARNIX_OK;                                                                \
    }

#include <inttypes.h>
PRINT_NUMBERS(uint32_t, u32, PRIu32)
PRINT_NUMBERS(uint16_t, u16, PRIu16)
PRINT_NUMBERS(uint8_t, u8, PRIu8)
PRINT_NUMBERS(int32_t, s32, PRId32)
PRINT_NUMBERS(int16_t, s16, PRId16)
PRINT_NUMBERS(int8_t, s8, PRId8)

static void print_word(const char* word, size_t length, void* context)
{
    fprintf(context, " %s:%u", word, (unsigned)length);
}

static int print_texts(const varnix_database* database)
{
    char text[32];
    size_t length = 0;
    if (varnix_get_text(database, "/text", text, sizeof text, &length) != VARNIX_OK)
        return 1;
    printf("text %u [%s]\nwords", (unsigned)length, text);
    if (varnix_visit_words(database, "/text", print_word, stdout) != VARNIX_OK)
        return 1;
    printf("\n");
    return 0;
}

int main(int argc, char** argv)
{
    varnix_database* database = NULL;
    const varnix_status status = varnix_open(argv[argc - 1], &database);
    int failures;
    if (status != VARNIX_OK) {
        printf("%s\n", varnix_status_name(status));
        return 2;
    }
    failures = print_u32(database) + print_u16(database) + print_u8(database) +
               print_s32(database) + print_s16(database) + print_s8(database) +
               print_texts(database);
    return failures + (varnix_close(database) != VARNIX_OK);
}
