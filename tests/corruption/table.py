#!/usr/bin/env python3
"""Changes one byte of a small valid file, reads one value, and counts what comes of it.

Every store holds the same two values, as its own tools write them; each case is one byte and one
change of it, put into a fresh copy. Of a file of more than 1,000 bytes, which is mostly fill, only
the bytes that are not zero are changed.
"""

import argparse
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

CHANGES = (0x01, 0x80, 0xFF)  # of a byte, by exclusive or
SMALL = 1000
PATIENCE = 10
COLUMNS = ("killed", "wrong", "reported", "unaffected")


def run(command, directory, **options):
    return subprocess.run(
        command, cwd=directory, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL, timeout=PATIENCE, check=False, **options,
    )


def make(command, directory, **options):
    if run(command, directory, **options).returncode != 0:
        raise SystemExit(f"corruption-table: {' '.join(command)} failed")


def write(directory, name, content):
    path = os.path.join(directory, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content if isinstance(content, bytes) else content.encode())
    return path


class Store:
    """A file, and the command that reads a value of it."""

    environment = {}

    def __init__(self, directory):
        self.directory = directory
        self.file = os.path.join(directory, self.build(directory))
        with open(self.file, "rb") as file:
            self.image = file.read()

    def read(self):
        return run(self.command(), self.directory, env={**os.environ, **self.environment})

    def positions(self):
        small = len(self.image) <= SMALL
        return [at for at, byte in enumerate(self.image) if small or byte != 0]

    def measure(self):
        wanted = self.read().stdout
        if b"17 31 63" not in wanted.replace(b",", b""):
            raise SystemExit(f"corruption-table: {self.name} does not read its own file: {wanted}")
        counts = dict.fromkeys(COLUMNS, 0)
        os.chmod(self.file, 0o644)
        for at in self.positions():
            for change in CHANGES:
                counts[self.outcome(at, change, wanted)] += 1
        return counts

    def outcome(self, at, change, wanted):
        image = bytearray(self.image)
        image[at] ^= change
        write(self.directory, self.file, bytes(image))
        try:
            done = self.read()
        except subprocess.TimeoutExpired:
            return "killed"
        if done.returncode < 0:
            return "killed"
        if done.returncode > 0:
            return "reported"
        return "unaffected" if done.stdout == wanted else "wrong"


class Varnix(Store):
    name = "Varnix, `varnix get`"
    programs = ""

    def build(self, directory):
        write(directory, "production.txt", '/componentConfigId CHAR "unit_1"\n')
        write(directory, "unit.txt", '/unit/gain U16 17 31 63\n/unit/label CHAR "unit one"\n')
        write(directory, "node.cfg", "varnix = { component_versions = ( { component_id = \"unit\"; "
              "revision = \"1\"; file_paths = [ \"unit.db\" ]; } ); };\n")
        for name in ("production", "unit"):
            make([f"{self.programs}/varnix", "build", "-o", name + ".db", name + ".txt"], directory)
        self.environment = {
            "sys_uflash_prod_db_dev_dev": "production.db",
            "VARNIX_ITC_DIR": os.path.join(directory, "mailboxes"),
        }
        return "unit.db"

    def command(self):
        return [f"{self.programs}/varnix", "get", "node.cfg", "/unit/gain"]


class Hwdb(Store):
    """Reads only where the system's database is, so it gets a root directory of its own."""

    name = "systemd, `systemd-hwdb query`"

    def build(self, directory):
        write(directory, "etc/udev/hwdb.d/10-unit.hwdb",
              "unit:1:*\n UNIT_GAIN=17 31 63\n UNIT_LABEL=unit one\n")
        make(["systemd-hwdb", "update", "--strict", "--root", directory], directory)
        program = shutil.which("systemd-hwdb")
        needed = run(["ldd", program], directory).stdout.decode().split()
        for path in [program, *(word for word in needed if word.startswith("/"))]:
            with open(path, "rb") as file:
                os.chmod(write(directory, path.lstrip("/"), file.read()), 0o755)
        return "etc/udev/hwdb.bin"

    def command(self):
        as_root = [] if os.geteuid() == 0 else ["--map-root-user"]
        program = shutil.which("systemd-hwdb")
        return ["unshare", *as_root, f"--root={self.directory}", program, "query", "unit:1:"]


class Dconf(Store):
    name = "`dconf read`"

    def build(self, directory):
        write(directory, "keys/unit", '[unit]\ngain="17 31 63"\nlabel="unit one"\n')
        make(["dconf", "compile", "unit.dconf", "keys"], directory)
        profile = write(directory, "profile", f"file-db:{directory}/unit.dconf\n")
        self.environment = {"DCONF_PROFILE": profile}
        return "unit.dconf"

    def command(self):
        return ["dconf", "read", "/unit/gain"]


class Cdb(Store):
    name = "tinycdb, `cdb -q`"

    def build(self, directory):
        source = b"+10,8:/unit/gain->17 31 63\n+11,8:/unit/label->unit one\n\n"
        make(["cdb", "-c", "unit.cdb", write(directory, "unit.txt", source)], directory)
        return "unit.cdb"

    def command(self):
        return ["cdb", "-q", "unit.cdb", "/unit/gain"]


class Lmdb(Store):
    name = "LMDB, `mdb_dump`"

    def build(self, directory):
        source = write(directory, "unit.txt", "VERSION=3\nformat=print\ntype=btree\nmapsize=65536\n"
                       "HEADER=END\n /unit/gain\n 17 31 63\n /unit/label\n unit one\nDATA=END\n")
        make(["mdb_load", "-n", "-f", source, "unit.mdb"], directory)
        return "unit.mdb"

    def command(self):
        return ["mdb_dump", "-n", "-p", "unit.mdb"]


class BootEnvironment(Store):
    name = "libubootenv, `fw_printenv`"
    size = 512

    def build(self, directory):
        values = b"gain=17 31 63\0label=unit one\0\0".ljust(self.size - 4, b"\0")
        write(directory, "env.bin", struct.pack("<I", zlib.crc32(values)) + values)
        write(directory, "env.cfg", f"{directory}/env.bin 0x0 0x{self.size:x}\n")
        write(directory, "default.env", "gain=0 0 0\n")
        return "env.bin"

    def command(self):
        return ["fw_printenv", "-c", "env.cfg", "-f", "default.env", "-n", "gain"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="directory of the varnix program")
    Varnix.programs = os.path.abspath(parser.parse_args().programs)
    print("| store and read | bytes | cases | killed or hung | wrong or empty, status 0 "
          "| error reported | unaffected |")
    print("|---|---:|---:|---:|---:|---:|---:|", flush=True)
    ours = None
    for kind in (Varnix, Hwdb, Dconf, Cdb, Lmdb, BootEnvironment):
        with tempfile.TemporaryDirectory(prefix="varnix-corruption-") as directory:
            store = kind(directory)
            counts = store.measure()
        ours = ours or counts
        cells = [kind.name, len(store.image), sum(counts.values()), *counts.values()]
        print(f"| {' | '.join(map(str, cells))} |", flush=True)
    return 1 if ours["killed"] or ours["wrong"] else 0


if __name__ == "__main__":
    sys.exit(main())
