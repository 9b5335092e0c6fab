#!/usr/bin/env python3
"""Keeps two nodes under load, and compares what their clients hold with a model.

Each node has its own mailboxes, files, subscription server and clients (client.cpp). Writes stream
in through the server, which is killed, ended or told to quit at random and comes back. The model is
what the server said it sent to every client. Now and then everything settles: each client must hold
what the model holds, and its memory, threads and descriptors must stay where they were.
"""

import argparse
import os
import random
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

PATIENCE = 60  # seconds that any answer may take
CLIENTS = 3  # of each node
TURNS = 20  # handles that a client initialises in a second
PAUSE = 0.08  # mean seconds between two steps of a node
ELEMENTS = 4

INTEGERS = {
    "/soak/u8": ("U8", 0, 2**8 - 1),
    "/soak/s8": ("S8", -(2**7), 2**7 - 1),
    "/soak/u16": ("U16", 0, 2**16 - 1),
    "/soak/s16": ("S16", -(2**15), 2**15 - 1),
    "/soak/u32": ("U32", 0, 2**32 - 1),
    "/soak/s32": ("S32", -(2**31), 2**31 - 1),
    "/production/u16": ("U16", 0, 2**16 - 1),
}
TEXTS = ["/soak/text", "/production/text"]
SEQUENCE = "/soak/sequence"
CONFIG = """varnix = { component_versions = (
  { component_id = "soak"; revision = "1"; file_paths = [ "soak.db" ]; } ); };
"""


class Failure(Exception):
    pass


class Program:
    """A process that is spoken to in lines."""

    def __init__(self, command, directory, environment):
        self.name = os.path.basename(command[0])
        self.process = subprocess.Popen(
            command, cwd=directory, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE
        )
        self.pending = b""

    def say(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def hear(self):
        deadline = time.monotonic() + PATIENCE
        while b"\n" not in self.pending:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.process.stdout], [], [], left)[0]:
                raise Failure(f"{self.name} ({self.process.pid}) does not answer")
            more = os.read(self.process.stdout.fileno(), 65536)
            if not more:
                raise Failure(f"{self.name} ended with {self.process.wait(PATIENCE)}")
            self.pending += more
        line, self.pending = self.pending.split(b"\n", 1)
        return line.decode()

    def expect(self, wanted):
        got = self.hear()
        if got != wanted:
            raise Failure(f'{self.name} says "{got}" instead of "{wanted}"')

    def end(self, number=None):
        """Its status, after the signal or at the end of its input."""
        if number is not None:
            self.process.send_signal(number)
        try:
            self.process.stdin.close()
        except BrokenPipeError:
            pass
        status = self.process.wait(PATIENCE)
        self.process.stdout.close()
        return status


class Levels:
    """What a process holds of the system."""

    def __init__(self, pid):
        with open(f"/proc/{pid}/status", encoding="ascii") as status:
            fields = dict(line.split(":", 1) for line in status)
        self.memory = int(fields["RssAnon"].split()[0])
        self.threads = int(fields["Threads"])
        self.descriptors = len(os.listdir(f"/proc/{pid}/fd"))

    def is_level_with(self, before):
        return (
            self.memory <= before.memory * 1.1 + 256
            and self.threads <= before.threads
            and self.descriptors <= before.descriptors
        )

    def __str__(self):
        return f"{self.memory} KiB, {self.threads} threads, {self.descriptors} descriptors"


class Node:
    def __init__(self, number, directory, programs, seed):
        self.name = f"node {number}"
        self.directory = directory
        self.programs = programs
        self.random = random.Random(f"{seed} {number}")
        self.counts = dict.fromkeys(["writes", "rejected", "unanswered", "servers", "gets"], 0)
        self.sequence = 0
        self.open_keys = set()  # written without knowing whether it was delivered
        self.before = None
        self.environment = dict(
            os.environ,
            VARNIX_ITC_DIR=os.path.join(directory, "mailboxes"),
            LTTNG_HOME=directory,
            sys_uflash_prod_db_dev="production.db",
        )
        self.environment.pop("sys_uflash_prod_db_dev_dev", None)
        self.model = {key: " ".join(["1"] * ELEMENTS) for key in INTEGERS}
        self.model |= {key: "a" for key in TEXTS}
        self.write_files()
        command = [os.path.join(programs, "soak_client"), "soak.cfg", str(TURNS)]
        self.clients = [Program(command, directory, self.environment) for _ in range(CLIENTS)]
        for client in self.clients:
            client.expect("ready")
        self.start_server()

    def write_files(self):
        lines = {"production": ['/componentConfigId CHAR "soak_1"'], "soak": [f"{SEQUENCE} U32 0"]}
        for key, value in self.model.items():
            kind = INTEGERS[key][0] if key in INTEGERS else "CHAR"
            lines[key.split("/")[1]].append(f"{key} {kind} {value if key in INTEGERS else repr(value)}")
        for name, text in lines.items():
            with open(os.path.join(self.directory, name + ".txt"), "w", encoding="ascii") as source:
                source.write("\n".join(text).replace("'", '"') + "\n")
            self.run("build", "-o", name + ".db", name + ".txt")
        with open(os.path.join(self.directory, "soak.cfg"), "w", encoding="ascii") as config:
            config.write(CONFIG)

    def run(self, *arguments):
        command = [os.path.join(self.programs, "varnix"), *arguments]
        done = subprocess.run(
            command, cwd=self.directory, env=self.environment, timeout=PATIENCE,
            stdout=subprocess.PIPE, check=False,
        )
        if done.returncode != 0:
            raise Failure(f"{' '.join(command)} ended with {done.returncode}")
        return done.stdout.decode()

    def start_server(self):
        command = [os.path.join(self.programs, "dbcsi-server")]
        self.server = Program(command, self.directory, self.environment)
        self.counts["servers"] += 1
        self.server.say(f"wait {CLIENTS} {PATIENCE}")
        self.server.expect(f"{CLIENTS} subscribers")
        for key in sorted(self.open_keys):
            self.write(key)
        self.open_keys.clear()

    def step(self):
        """One random thing that happens on the node."""
        kind = self.random.random()
        if kind < 0.02:
            self.replace_server()
        elif kind < 0.04:
            # A process that comes, reads and goes.
            self.counts["gets"] += 1
            key = self.random.choice([*INTEGERS])
            if self.run("get", "soak.cfg", key).split()[0] == "":
                raise Failure(f"{key} has no value")
        elif kind < 0.08:
            key = self.random.choice([*INTEGERS])
            self.counts["rejected"] += 1
            self.deliver(f"db write {key} -i 1 {INTEGERS[key][2] + 1}")
        else:
            self.write(self.random.choice([*INTEGERS, *TEXTS]))

    def new_value(self, key):
        """A line that writes the parameter, and what it holds afterwards."""
        if key in INTEGERS:
            _, lowest, highest = INTEGERS[key]
            value = str(self.random.randint(lowest, highest))
            value = self.random.choice([value, str(lowest), str(highest)])
            whole = " ".join([value] * ELEMENTS)
            if self.random.random() < 0.3:
                return f"db write {key} -r {ELEMENTS} -i 0 {value}", whole
            return f"db write {key} {whole}", whole
        letter = self.random.choice("abcdefghijklmnopqrstuvwxyz")
        if key not in self.open_keys and len(self.model[key]) < 40 and self.random.random() < 0.5:
            more = letter * self.random.randint(1, 8)
            return f"db write {key} -a {more}", f"{self.model[key]} {more}"
        text = letter * self.random.randint(1, 24)
        return f"db write {key} -c {text}", text

    def write(self, key):
        line, value = self.new_value(key)
        self.deliver(line)
        self.model[key] = value

    def deliver(self, line):
        self.server.say(line)
        self.server.expect(f"sent to {CLIENTS} subscribers")
        self.counts["writes"] += 1

    def replace_server(self):
        """The server goes, sometimes in the middle of a write, and comes back after a while."""
        if self.random.random() < 0.5:
            key = self.random.choice([*INTEGERS])
            self.server.say(self.new_value(key)[0])
            self.open_keys.add(key)
            self.counts["unanswered"] += 1
        self.server.end(self.random.choice([signal.SIGKILL, signal.SIGKILL, signal.SIGTERM, None]))
        time.sleep(self.random.random() * 0.3)
        self.start_server()

    def settle(self, compare_levels):
        """Every client must hold what the model holds, and no more of the system than before."""
        self.sequence += 1
        self.deliver(f"db write {SEQUENCE} -i 0 {self.sequence}")
        for client in self.clients:
            client.say(f"settle {self.sequence}")
        for client in self.clients:
            for _ in self.model:
                key, value = client.hear().split("\t")
                if value != self.model[key]:
                    raise Failure(f"{key} is {value}, and should be {self.model[key]}")
            client.expect("settled")
        levels = self.levels()
        if compare_levels:
            self.compare_levels()
        else:
            self.before = levels
        for client in self.clients:
            client.say("resume")
            client.expect("resumed")
        print(f"{self.name}: as the model; {', '.join(map(str, self.counts.items()))}")
        for client, now in zip(self.clients, levels):
            print(f"    client {client.process.pid}: {now}")
        sys.stdout.flush()

    def levels(self):
        return [Levels(client.process.pid) for client in self.clients]

    def compare_levels(self):
        # A trace session of somebody else's costs a client something for as long as it lasts.
        deadline = time.monotonic() + PATIENCE
        while not all(now.is_level_with(was) for now, was in zip(self.levels(), self.before)):
            if time.monotonic() > deadline:
                raise Failure(f"a client had {', '.join(map(str, self.before))} after warming up, "
                              f"and has {', '.join(map(str, self.levels()))}")
            time.sleep(0.1)

    def end(self):
        for client in self.clients:
            status = client.end()
            if status != 0:
                raise Failure(f"a client of {self.name} ended with {status}")
        self.server.end()

    def kill(self):
        for program in [*self.clients, self.server]:
            program.process.kill()
            program.process.wait()


def soak(programs, seconds, seed, directory):
    directories = [os.path.join(directory, str(number)) for number in (1, 2)]
    for name in directories:
        os.mkdir(name)
    nodes = [Node(i + 1, name, programs, seed) for i, name in enumerate(directories)]
    pace = random.Random(seed)
    began = time.monotonic()
    warm = began + max(seconds / 10, min(seconds / 2, 5))
    every = max(seconds / 20, 5)
    next_settling = warm
    try:
        while time.monotonic() < began + seconds:
            for node in nodes:
                node.step()
            if time.monotonic() >= next_settling:
                for node in nodes:
                    node.settle(compare_levels=node.before is not None)
                next_settling += every
            time.sleep(pace.uniform(0, 2 * PAUSE))
        for node in nodes:
            node.settle(compare_levels=True)
            node.end()
    except BaseException:
        for node in nodes:
            node.kill()
        raise
    return {name: sum(node.counts[name] for node in nodes) for name in nodes[0].counts}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="directory of the programs")
    parser.add_argument("--seconds", type=float, default=3600)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    print(f"soak: {options.seconds:g} seconds, seed {options.seed}", flush=True)
    directory = tempfile.mkdtemp(prefix="varnix-soak-")
    try:
        counts = soak(os.path.abspath(options.programs), options.seconds, options.seed, directory)
    except Failure as failure:
        print(f"soak: {failure}", file=sys.stderr)
        return 1
    finally:
        shutil.rmtree(directory, ignore_errors=True)
    used = sum(os.times()[i] for i in range(4))
    print(f"soak: passed; {', '.join(f'{count} {name}' for name, count in counts.items())}; "
          f"{used:.0f} seconds of processor time")
    return 0


if __name__ == "__main__":
    sys.exit(main())
