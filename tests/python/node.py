"""A node of one test program: its files, its mailboxes, and its subscription server."""

import os
import shutil
import subprocess
import tempfile
import time
from pathlib import Path

import varnix

PRODUCTION = '/componentConfigId CHAR "unit_1"\n'


def remove(path):
    """Removes a node's directory, in which the library's thread may still be making entries."""
    deadline = time.monotonic() + 60
    while os.path.exists(path):
        shutil.rmtree(path, ignore_errors=True)
        assert time.monotonic() < deadline, f"{path} stays"


class Node:
    def __init__(self, production=PRODUCTION):
        self.path = Path(tempfile.mkdtemp())
        varnix.build_file(self.path / "production.db", production)
        os.environ.pop("sys_uflash_prod_db_dev_dev", None)
        os.environ["sys_uflash_prod_db_dev"] = str(self.path / "production.db")
        os.environ["VARNIX_ITC_DIR"] = str(self.path / "itc")

    def configuration(self, *sources):
        """The configuration file of a component with a database file of each source."""
        files = []
        for number, source in enumerate(sources):
            files.append(self.path / f"component{number}.db")
            varnix.build_file(files[-1], source)
        paths = ", ".join(f'"{file}"' for file in files)
        path = self.path / "node.cfg"
        path.write_text(
            'varnix = { component_versions = ( { component_id = "unit"; revision = "1";'
            f" file_paths = [ {paths} ]; }} ); }};"
        )
        return path

    def command(self, line):
        """Gives the server, which runs for this one line and its writes, the line of an operator."""
        return subprocess.run(
            ["dbcsi-server"], input=f"wait 1 30\n{line}\nsettle 30\n", check=True, text=True,
            capture_output=True, timeout=60,
        ).stdout

    def close(self):
        remove(self.path)
