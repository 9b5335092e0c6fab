"""What an operator's write does to a client in Python."""

import unittest

import varnix
from node import Node


class NodeTest(unittest.TestCase):
    def test_a_read_after_a_write_sees_it(self):
        node = Node()
        self.addCleanup(node.close)
        database = varnix.Database(node.configuration('/gain U16 17 31\n/label CHAR "one"\n'))
        self.assertEqual(database.get("/gain"), [17, 31])
        node.command("db write /gain -i 1 9")
        self.assertEqual(database.get("/gain"), [17, 9])
        node.command("db write /label -c another")
        self.assertEqual(database.get("/label"), "another")


if __name__ == "__main__":
    unittest.main()
