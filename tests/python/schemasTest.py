"""Schemas by the command, and parameters that are held against them."""

import os
import stat
import tempfile
import unittest
from pathlib import Path

import varnix
from varnix import Parameter, SchemaLine


class SchemasTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.path = self.directory / "node.schema"

    def test_what_is_built_is_read(self):
        lines = [
            SchemaLine("/unit/gain", "U16", (3, 3), "0..63", "dB", [1, 2, 3], required=True,
                       description='front end "gain"\n\\ ä'),
            SchemaLine("/unit/mode", "CHAR", (1, 8), "idle|normal", default="normal"),
            SchemaLine("/board/*/offset", "S32", (1, 8), "-200..-1|1 5..7", deprecated=True),
            SchemaLine("/node/serial", "CHAR", limits="/V[0-9]{4}/", description="a\udcff\0"),
            SchemaLine("/empty", "CHAR", default="", description=""),
        ]
        varnix.build_schema(self.path, lines)
        self.assertEqual(varnix.read_schema(self.path), lines)
        varnix.build_schema(str(self.path), lines[:1])
        self.assertEqual(varnix.read_schema(str(self.path)), lines[:1])

    def test_a_schema_is_text(self):
        text = "# comment\n/gain U16[2] 0x0..0x3F\n"
        varnix.build_schema(self.path, text)
        self.assertEqual(self.path.read_text(), text)
        self.assertEqual(varnix.read_schema(self.path),
                         [SchemaLine("/gain", "U16", (2, 2), "0x0..0x3F")])

    def test_later_schemas_add_lines(self):
        varnix.build_schema(self.path, "/a U8\n")
        varnix.build_schema(self.directory / "other", "/b U8\n")
        self.assertEqual([line.key for line in varnix.read_schema(self.path, self.directory / "other")],
                         ["/a", "/b"])
        self.assertRaises(ValueError, varnix.read_schema)

    def test_a_file_is_held_against_its_schemas(self):
        varnix.build_schema(self.path, "/gain U16 0..63\n")
        file = self.directory / "unit.db"
        with self.assertRaisesRegex(varnix.CommandError, "70 is above 63") as caught:
            varnix.build_file(file, [Parameter("/gain", "U16", [70])], [self.path])
        self.assertEqual(caught.exception.status, 4)
        self.assertFalse(file.exists())
        other = [Parameter("/other", "U8", [1])]
        varnix.build_file(file, other, schemas=[self.path])
        with self.assertRaisesRegex(varnix.CommandError, "no line of a schema"):
            varnix.build_file(file, other, schemas=[self.path], closed=True)

    def test_a_schema_that_is_none_leaves_the_older_one(self):
        varnix.build_schema(self.path, "/a U8\n")
        for text, status in (("/a U9\n", 4), ("/a U8 0..3 default 4\n", 1)):
            with self.assertRaisesRegex(varnix.CommandError, ":1:[0-9]+: error:") as caught:
                varnix.build_schema(self.path, text)
            self.assertEqual(caught.exception.status, status)
        self.assertEqual(self.path.read_text(), "/a U8\n")
        self.assertEqual(os.listdir(self.directory), ["node.schema"])
        with self.assertRaisesRegex(varnix.CommandError, "No such file") as caught:
            varnix.read_schema(self.directory / "absent")
        self.assertEqual(caught.exception.status, 3)

    def test_a_schema_that_is_replaced_keeps_its_mode_and_is_found_through_a_link(self):
        varnix.build_schema(self.path, "/a U8\n")
        self.path.chmod(0o640)
        link = self.directory / "link"
        link.symlink_to(self.path)
        varnix.build_schema(link, "/b U8\n")
        self.assertEqual(self.path.read_text(), "/b U8\n")
        self.assertEqual(stat.S_IMODE(self.path.stat().st_mode), 0o640)
        self.assertTrue(link.is_symlink())

    def test_a_directory_that_cannot_be_written_is_an_error_and_nothing_is_left(self):
        with self.assertRaises(FileNotFoundError):
            varnix.build_schema(self.directory / "absent" / "node.schema", "/a U8\n")
        (self.directory / "taken").mkdir()
        with self.assertRaises(OSError):
            varnix.build_schema(self.directory / "taken", "/a U8\n")
        self.assertEqual(os.listdir(self.directory), ["taken"])

    def test_a_line_that_no_schema_can_say_makes_no_file(self):
        for line in (
            SchemaLine("gain", "U8"),
            SchemaLine("/a b", "U8"),
            SchemaLine("/a", "77"),
            SchemaLine("/a", "U8 required"),
            SchemaLine("/a", "U8", limits="required"),
            SchemaLine("/a", "CHAR", limits='a|"'),
            SchemaLine("/a", "U8", unit="d B"),
            SchemaLine("/a", "U8", unit="dB\n/b U8"),
            SchemaLine("/a", "U8", unit=""),
        ):
            with self.assertRaises(ValueError, msg=line):
                varnix.build_schema(self.path, [line])
        self.assertFalse(self.path.exists())


if __name__ == "__main__":
    unittest.main()
