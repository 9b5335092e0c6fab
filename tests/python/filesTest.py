"""Database files by the command."""

import tempfile
import unittest
from pathlib import Path

import varnix
from varnix import Parameter


class FilesTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.path = Path(directory.name) / "unit.db"

    def test_what_is_built_is_read(self):
        parameters = [
            Parameter("/u16", "U16", [0, 65535]),
            Parameter("/s8", "S8", [-128]),
            Parameter("/text", "CHAR", 'say "hi"\n\\ ä'),
            Parameter("/bytes", "CHAR", "a\udcff\0"),
            Parameter("/empty", "U8", []),
            Parameter("/unnamed", "77", b"\0\xff"),
        ]
        varnix.build_file(self.path, parameters)
        self.assertEqual(varnix.read_file(self.path), parameters)
        varnix.build_file(str(self.path), parameters[:1])
        self.assertEqual(varnix.read_file(str(self.path)), parameters[:1])

    def test_a_source_is_text(self):
        varnix.build_file(self.path, "# comment\n/gain U16 0x11\n")
        self.assertEqual(varnix.read_file(self.path), [Parameter("/gain", "U16", [17])])

    def test_records_that_are_no_parameters_are_left_out(self):
        varnix.build_file(self.path, '#! record 46 "/k\\xff" U8 3\n#! record 47 "/gain" U8 3\n')
        self.assertEqual(varnix.read_file(self.path), [Parameter("/k\udcff", "U8", [3])])

    def test_a_refusal_says_what_the_command_said_and_leaves_the_file(self):
        varnix.build_file(self.path, "/gain U16 17\n")
        before = self.path.read_bytes()
        with self.assertRaisesRegex(varnix.CommandError, ":1:11: error:") as caught:
            varnix.build_file(self.path, "/gain U16 70000\n")
        self.assertEqual(caught.exception.status, 4)
        self.assertEqual(self.path.read_bytes(), before)
        with self.assertRaisesRegex(varnix.CommandError, "No such file") as caught:
            varnix.read_file(self.path.parent / "absent.db")
        self.assertEqual(caught.exception.status, 3)

    def test_a_key_or_type_that_no_source_can_say_makes_no_file(self):
        for key in ("gain", "", "/a b", '/a"', "/a#", "/a\n/b", "/ä"):
            with self.assertRaises(ValueError):
                varnix.build_file(self.path, [Parameter(key, "U8", [1])])
        for kind in ("U9", "U8 1\n/other U8", ""):
            with self.assertRaisesRegex(ValueError, "is no type"):
                varnix.build_file(self.path, [Parameter("/a", kind, [1])])
        for value in ([3.7], ["5"], 7, [None]):
            with self.assertRaisesRegex(ValueError, "is no value"):
                varnix.build_file(self.path, [Parameter("/a", "U8", value)])
        self.assertFalse(self.path.exists())

    def test_a_path_that_looks_like_an_option_is_a_path(self):
        path = self.path.parent / "-o"
        varnix.build_file(path, "/gain U16 17\n")
        self.assertEqual(len(varnix.read_file(path)), 1)


if __name__ == "__main__":
    unittest.main()
