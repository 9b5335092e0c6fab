"""Typed configuration parameters of a network node.

Reading parameters
------------------

A Database is what a component's configuration file selects, with the node's production database in
front of it. The environment names the production database, as for every client:

>>> import os, varnix
>>> varnix.build_file("production.db", '''
... /componentConfigId CHAR "unit_1"
... /unit/gain U16 17 31
... /unit/label CHAR "unit one"
... ''')
>>> os.environ["sys_uflash_prod_db_dev"] = os.path.abspath("production.db")
>>> with open("node.cfg", "w") as file:
...     _ = file.write("varnix = { component_versions = ( ); };")
>>> database = varnix.Database("node.cfg")
>>> database.get("/unit/gain")
[17, 31]
>>> database.get("/unit/label")
'unit one'

Typed reads say which type is expected, and nothing is converted:

>>> database.get_u16("/unit/gain")
[17, 31]
>>> database.get_words("/unit/label")
['unit', 'one']
>>> database.get_bytes("/unit/label")
b'unit one'
>>> database.get_u32("/unit/gain")
Traceback (most recent call last):
    ...
TypeError: the parameter '/unit/gain' is of another type than U32
>>> database.get("/unit/absent")
Traceback (most recent call last):
    ...
KeyError: '/unit/absent'
>>> "/unit/absent" in database
False

A database is closed with its last reference, by close(), or at the end of a with statement:

>>> database.close()

Files
-----

build_file and read_file make and read database files by the command varnix, which is looked for in
PATH and then beside this package's installation:

>>> varnix.build_file("unit.db", [varnix.Parameter("/unit/offset", "S32", [-40])])
>>> varnix.read_file("unit.db")
[Parameter(key='/unit/offset', type='S32', value=[-40])]

Schemas
-------

A schema says what parameters mean, see varnix-schema(5). build_schema and read_schema make and read
one, and build_file refuses what its schemas do not allow:

>>> varnix.build_schema("unit.schema", [
...     varnix.SchemaLine("/unit/offset", "S32", limits="-200..200", unit="dB", required=True)])
>>> print(open("unit.schema").read(), end="")
/unit/offset S32 -200..200 unit dB required
>>> varnix.read_schema("unit.schema")[0].limits
'-200..200'
>>> varnix.build_file("unit.db", "/unit/offset S32 -201",
...                   schemas=["unit.schema"])  # doctest: +ELLIPSIS
Traceback (most recent call last):
    ...
varnix.CommandError: ...:1:18: error: -201 is below -200 (.../unit.schema:1)
...

Texts
-----

A text is a str of UTF-8. A byte that is none becomes a lone surrogate, see surrogateescape in
PEP 383, so that every text can be read and written back; get_bytes gives the bytes as they are. Keys
are taken the same way, or as bytes.

Threads
-------

Any number of threads may read through one Database. A call releases the interpreter's lock while it
is in the library, so readers do not wait for each other. close() may come at any time: a read that
is running ends as if it had come before.

Environment
-----------

The library libvarnix-c.so.0 is found as ld.so(8) finds libraries, and then beside this package's
installation. LD_LIBRARY_PATH names another place.
"""

from ._command import CommandError
from ._database import Database, NoDatabaseError
from ._files import Parameter, build_file, read_file
from ._library import version
from ._schemas import SchemaLine, build_schema, read_schema

__all__ = [
    "CommandError",
    "Database",
    "NoDatabaseError",
    "Parameter",
    "SchemaLine",
    "build_file",
    "build_schema",
    "read_file",
    "read_schema",
    "version",
]

# What is public is known by its public name.
for _name in __all__:
    globals()[_name].__module__ = __name__
