"""Which test programs judge which source, cheapest first; the only place that says so."""

from pathlib import PurePosixPath

# By room, a directory of sources.
ROOMS = {
    "src": ("registry_test", "interface_test", "unit_test", "selection_test"),
    "c": ("c_test",),
    "dbfile": ("dbfile_test", "varnix_tool_test"),
    "inspection": ("inspection_test", "varnix_tool_test"),
    "platform/itc": ("itc_test", "hostile_platform_test", "fault_test", "itc_unload_test"),
    "recording": ("recording_test", "varnix_trace_test"),
    "schema": ("schema_test", "varnix_tool_test"),
    "shared": ("dbcsi_server_unit_test", "varnix_tool_test"),
    "tools/dbcsi": ("dbcsi_server_unit_test", "dbcsi_server_test"),
    "tools/dbcsi-server": ("dbcsi_server_unit_test", "dbcsi_server_test"),
    "tools/varnix": ("varnix_tool_test", "varnix_offnode_test", "varnix_interrupt_test",
                     "varnix_live_process_test", "varnix_trace_test"),
}
# Sources whose path begins so are judged by these instead.
SOURCES = {
    "dbfile/readFile": ("dbfile_test", "fault_test"),
    "dbfile/replaceFile": ("dbfile_test", "fault_test"),
    "dbfile/temporaryFile": ("dbfile_test", "fault_test"),
    "src/checksum": ("unit_test",),
    "src/configFile": ("selection_test", "unit_test"),
    "src/configText": ("selection_test", "unit_test"),
    "src/dbContainer": ("unit_test", "interface_test"),
    "src/keyTable": ("unit_test", "interface_test"),
    "src/publication": ("inspection_test", "varnix_tool_test"),
    "src/regularFile": ("selection_test", "unit_test"),
    "src/selection": ("selection_test", "unit_test"),
    "src/typeOfData": ("unit_test", "registry_test"),
}

# These test what the tests stand on, or take long over what shorter ones cover.
NOT_ASKED = (
    "TracedProcess.*",
    "TraceSession.*",
    "ItcLifetime.TenThousandMailboxesLeaveWhatOneLeaves",
    "Source.ValueOfTheLargestLengthIsTakenAndOneByteMoreIsAnError",
)


def programs_of(source):
    """The programs that judge a source, given by its path in the tree."""
    own = next((programs for start, programs in SOURCES.items() if source.startswith(start)), None)
    return own or ROOMS[room_of(source)]


def room_of(source):
    return str(PurePosixPath(source).parent)


def sources_of(tree, names):
    """The sources that the names stand for: each a room or a source; all without names."""
    everything = sorted(str(path.relative_to(tree)) for room in ROOMS
                        for path in (tree / room).iterdir() if path.suffix in (".h", ".cpp"))
    for name in names:
        if name not in ROOMS and name not in everything:
            raise ValueError(f"{name} is no room and no source of one; rooms: {', '.join(ROOMS)}")
    return [source for source in everything
            if not names or source in names or room_of(source) in names]
