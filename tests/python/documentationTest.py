"""The examples of the package's documentation, and that nothing public is without one."""

import doctest
import inspect
import os
import pydoc
import tempfile
import typing
import unittest

import varnix
from node import remove


class DocumentationTest(unittest.TestCase):
    def test_the_examples_print_what_they_say(self):
        directory = tempfile.mkdtemp()
        self.addCleanup(remove, directory)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(directory)
        os.environ.pop("sys_uflash_prod_db_dev_dev", None)
        os.environ["VARNIX_ITC_DIR"] = directory + "/itc"
        result = doctest.testmod(varnix)
        self.assertEqual(result.failed, 0)
        self.assertGreater(result.attempted, 10)

    def test_help_shows_everything_public_with_its_documentation_and_types(self):
        text = pydoc.render_doc(varnix, renderer=pydoc.plaintext)
        for name in varnix.__all__:
            self.assertIn(name, text)
            thing = getattr(varnix, name)
            self.assertTrue(thing.__doc__, name)
            self.assertEqual(thing.__module__, "varnix", name)
            for member, function in inspect.getmembers(thing, inspect.isfunction):
                if not member.startswith("_") or member in ("__enter__", "__exit__"):
                    self.assertTrue(function.__doc__, f"{name}.{member}")
                    self.assertIn("return", typing.get_type_hints(function), f"{name}.{member}")


if __name__ == "__main__":
    unittest.main()
