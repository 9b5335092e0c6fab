"""What a client in Python reads."""

import unittest
from pathlib import Path

import varnix
from node import Node

SOURCE = r"""
/u32 U32 0 4294967295
/u16 U16 0 258 65535
/u8 U8 0 255
/s32 S32 -2147483648 2147483647 -1
/s16 S16 -32768 32767 -2
/s8 S8 -128 127
/text CHAR "  two  words "
/bytes CHAR "a\xff\x00b c"
/none U8
"""
NUMBERS = {
    "u32": [0, 4294967295],
    "u16": [0, 258, 65535],
    "u8": [0, 255],
    "s32": [-2147483648, 2147483647, -1],
    "s16": [-32768, 32767, -2],
    "s8": [-128, 127],
}


class ReadTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.node = Node()
        cls.addClassCleanup(cls.node.close)
        long = "/long U16 " + " ".join(map(str, range(1000))) + "\n"
        cls.configuration = cls.node.configuration(
            SOURCE + long + f'/longText CHAR "{"x" * 64}"\n'
        )

    def setUp(self):
        self.database = varnix.Database(self.configuration)
        self.reads = {name: getattr(self.database, f"get_{name}") for name in NUMBERS}
        self.reads["text"] = self.database.get_text

    def test_every_type_is_read_by_get_and_by_its_own_read(self):
        for name, values in NUMBERS.items():
            self.assertEqual(self.database.get(f"/{name}"), values)
            self.assertEqual(self.reads[name](f"/{name}"), values)
        self.assertEqual(self.database.get("/text"), "  two  words ")
        self.assertEqual(self.database.get_text("/text"), "  two  words ")
        self.assertEqual(self.database.get_words("/text"), ["two", "words"])
        self.assertEqual(self.database.get_bytes("/text"), b"  two  words ")

    def test_every_other_type_is_a_type_error(self):
        for name in self.reads:
            for other, read in self.reads.items():
                if name != other:
                    with self.assertRaisesRegex(TypeError, f"'/{name}' is of another type"):
                        read(f"/{name}")
        for read in (self.database.get_words, self.database.get_bytes):
            self.assertRaises(TypeError, read, "/u8")

    def test_an_absent_key_is_a_key_error(self):
        for read in (*self.reads.values(), self.database.get, self.database.get_words,
                     self.database.get_bytes):
            with self.assertRaises(KeyError) as caught:
                read("/absent")
            self.assertEqual(caught.exception.args, ("/absent",))

    def test_a_key_without_a_type_is_a_type_error(self):
        self.assertRaisesRegex(TypeError, "'/none' has no type", self.database.get, "/none")
        self.assertIn("/none", self.database)

    def test_a_key_is_in_the_database_whatever_its_type(self):
        self.assertIn("/text", self.database)
        self.assertIn(b"/u8", self.database)
        self.assertNotIn("/absent", self.database)

    def test_bytes_that_are_no_utf_8_are_surrogates(self):
        self.assertEqual(self.database.get("/bytes"), "a\udcff\0b c")
        self.assertEqual(self.database.get_words("/bytes"), ["a\udcff\0b", "c"])
        self.assertEqual(self.database.get_bytes("/bytes"), b"a\xff\0b c")

    def test_values_of_any_size_are_whole(self):
        self.assertEqual(self.database.get("/long"), list(range(1000)))
        self.assertEqual(self.database.get("/longText"), "x" * 64)

    def test_bad_use_is_a_value_error_or_a_type_error(self):
        for read in (*self.reads.values(), self.database.get, self.database.get_words,
                     self.database.__contains__):
            self.assertRaises(ValueError, read, "")
            self.assertRaises(ValueError, read, b"")
            self.assertRaises(ValueError, read, "/a\0b")
            self.assertRaisesRegex(TypeError, "must be str or bytes, not int", read, 7)
            self.assertRaises(TypeError, read, None)
        self.assertRaises(ValueError, varnix.Database, "")
        self.assertRaises(TypeError, varnix.Database, None)
        self.assertRaises(TypeError, varnix.Database, 7)

    def test_a_configuration_that_cannot_be_used_is_no_database(self):
        with self.assertRaisesRegex(varnix.NoDatabaseError, "'/nowhere.cfg'"):
            varnix.Database("/nowhere.cfg")

    def test_a_path_may_be_of_any_kind(self):
        for path in (str(self.configuration), bytes(self.configuration), Path(self.configuration)):
            self.assertEqual(varnix.Database(path).get_u8("/u8"), [0, 255])

    def test_a_closed_database_is_a_value_error(self):
        with self.database as database:
            self.assertEqual(database.get_u8("/u8"), [0, 255])
        self.database.close()
        for read in self.reads.values():
            self.assertRaisesRegex(ValueError, "closed", read, "/u8")
        self.assertRaises(ValueError, self.database.__enter__)


if __name__ == "__main__":
    unittest.main()
