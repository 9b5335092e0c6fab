/*
 * The ELF note in which a tool finds the registry's root: its owner, the number of the layout, and
 * the root's distance from the note's description, which the linker fills in. No relocation is left
 * for the loader, and stripping keeps it.
 */
__asm__(".pushsection .note.varnix, \"a\", %note\n"
        ".balign 4\n"
        ".long 7, 16, 1\n" /* sizes of owner and description; the type */
        ".asciz \"Varnix\"\n"
        ".balign 4\n"
        "1: .long 1, 0\n" /* the layout; unused */
        ".quad varnixInspectionRoot - 1b\n"
        ".popsection\n");

typedef int varnixNoteIsAllAssembly; /* a translation unit needs a declaration */
