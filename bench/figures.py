"""What every table of script/bench is made with."""

import json
import math


class Results:
    """The medians of every benchmark, by its name without what the harness appends."""

    def __init__(self, directory):
        self.medians = {}
        for path in sorted(directory.glob("*.json")):
            for run in json.loads(path.read_text())["benchmarks"]:
                if run.get("aggregate_name") == "median":
                    self.medians[self.plain_name(run["run_name"])] = run

    @staticmethod
    def plain_name(name):
        parts = [p for p in name.split("/") if not p.startswith(("iterations:", "repeats:"))]
        return "/".join(p for p in parts if p not in ("manual_time", "real_time"))

    def __contains__(self, name):
        return name in self.medians

    def get(self, name, field="cpu_time"):
        return self.medians[name][field]

    def ratio(self, name, floor, field="cpu_time"):
        return self.get(name, field) / self.get(floor, field)


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def times(ratio):
    return f"{ratio:.2f}" if ratio < 10 else f"{ratio:.0f}"


def slope(few, many):
    """The exponent of a growth from one (number, time, ...) to another: 1 is in proportion."""
    return math.log(many[1] / few[1]) / math.log(many[0] / few[0])
