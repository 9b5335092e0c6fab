"""How calls reach the library."""

import ctypes
import threading
import unittest

import varnix
from node import Node
from varnix import _library


class LibraryTest(unittest.TestCase):
    def test_calls_release_the_interpreters_lock(self):
        python_api = 4  # FUNCFLAG_PYTHONAPI: the flag of calls that keep the lock
        self.assertTrue(ctypes.pythonapi.Py_GetVersion._flags_ & python_api)
        self.assertFalse(_library.library.varnix_get_u32._flags_ & python_api)
        self.assertFalse(_library.library.varnix_open._flags_ & python_api)

    def test_the_version_is_the_librarys(self):
        self.assertRegex(varnix.version(), r"^\d+\.\d+\.\d+$")

    def test_closing_under_reading_threads_ends_their_reads_with_an_error(self):
        node = Node()
        self.addCleanup(node.close)
        configuration = node.configuration("/gain U16 1 2 3\n")
        for _ in range(20):
            database = varnix.Database(configuration)
            started, ends = threading.Barrier(5), []

            def read(database=database, started=started, ends=ends):
                started.wait()
                try:
                    while database.get_u16("/gain") == [1, 2, 3]:
                        pass
                    ends.append("another value")
                except ValueError as error:
                    ends.append(str(error))

            threads = [threading.Thread(target=read) for _ in range(4)]
            for thread in threads:
                thread.start()
            started.wait()
            database.close()
            for thread in threads:
                thread.join()
            self.assertEqual(ends, ["the database is closed"] * 4)


if __name__ == "__main__":
    unittest.main()
