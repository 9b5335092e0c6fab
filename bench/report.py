#!/usr/bin/env python3
"""Turns the results of script/bench into ratios: report.py RESULTS [--publish DOCUMENT].

Prints the tables; with --publish also puts them into the document, between its two marks, and draws
the charts beside it.
"""

import pathlib
import subprocess
import sys

from chart import bar_chart
from figures import Results, slope, table, times

VALUES = ("U32x4", "text24", "U8x1024", "U16x512")
PEERS = ("tinycdb", "LMDB", "GKeyFile", "libconfig", "SQLite")
SIZES = ("10", "100", "1000", "10000", "100000", "1000000")
LARGEST_COLD = 100000
PEERS_LOAD = "10000"
LOADERS = (("floor", "the file read and copied once"),
           ("varnix", "checked and copied into a store of its own"),
           ("tinycdb", "mapped, then walked once"),
           ("LMDB", "mapped, then walked once"),
           ("SQLite", "opened, then every row selected"),
           ("GKeyFile", "a text parsed"),
           ("libconfig", "a text parsed"))
MARKS = ("<!-- results -->\n", "<!-- end of results -->\n")


def reads(results):
    rows = []
    for who in ("floor", "varnix") + PEERS:
        ratios = [results.ratio(f"read/{v}/{who}", f"read/{v}/floor") for v in VALUES]
        rows.append([who] + [times(r) for r in ratios])
    floor = ["floor, ns"] + [f"{results.get(f'read/{v}/floor'):.1f}" for v in VALUES]
    return table(["one read, relative to the floor", *VALUES], rows + [floor])


def outcomes(results):
    floor = "read/U32x4/floor"
    rows = [[what, f"{results.get(name):.1f}", times(results.ratio(name, floor))]
            for what, name in (("hit in the component database", "read/U32x4/varnix"),
                               ("hit in the production database", "read/U32x4/production"),
                               ("missing in both", "read/U32x4/missing"),
                               ("there, of another type", "read/U32x4/mismatch"))]
    rows.append(["each read waits for the last", f"{results.get('chain/U32x4/varnix'):.1f}",
                 times(results.ratio("chain/U32x4/varnix", "chain/U32x4/floor")) + " (of the same)"])
    return table(["a read of U32x4", "ns", "× floor"], rows)


def overloads(results):
    pairs = (("U32x4", "U32x256"), ("U16x4", "U16x512"), ("U8x4", "U8x1024"), ("S32x4", "S32x256"),
             ("S16x4", "S16x512"), ("S8x4", "S8x1024"), ("text24", "text1024"),
             ("words3", "words128"))
    rows = [[small, f"{results.get(f'read/{small}/varnix'):.1f}", large,
             f"{results.get(f'read/{large}/varnix'):.1f}"] for small, large in pairs]
    return table(["small value", "ns", "1 KiB", "ns"], rows)


def scaling(results, who):
    """Threads times the processor time of a read alone over that of a read among others."""
    runs = sorted((int(name.rsplit(":", 1)[1]), name) for name in results.medians
                  if name.startswith(f"read/parallel/U32x4/{who}/threads:"))
    (_, alone), (threads, together) = runs[0], runs[-1]
    return threads, threads * results.get(alone) / results.get(together)


def parallel(results):
    rows = []
    for who in ("floor", "varnix"):
        threads, gain = scaling(results, who)
        rows.append([who, threads, f"{gain:.2f}"])
    return table(["reads in parallel", "threads", "× one thread"], rows)


def loads(results):
    rows = []
    for size in SIZES:
        for state in ("warm", "cold") if int(size) <= LARGEST_COLD else ("warm",):
            ours, floor = (f"load/{size}-{state}/{who}" for who in ("varnix", "floor"))
            rows.append([size, state, f"{results.get(ours, 'startup_ns') / 1e3:.0f}",
                         f"{results.get(ours, 'real_time'):.0f}",
                         f"{results.get(floor, 'real_time'):.0f}",
                         times(results.ratio(ours, floor, "real_time")),
                         times(results.ratio(ours, floor, "processor_ns")),
                         f"{results.get(ours, 'resident_per_parameter'):.0f}",
                         f"{results.get(ours, 'heap_per_parameter'):.0f}"])
    return table(["parameters", "file", "start-up, µs", "load, µs", "read and copy, µs", "× by the clock",
                  "× processor time", "resident bytes a parameter", "heap bytes a parameter"], rows)


def loads_of_others(results):
    prefix = f"load/{PEERS_LOAD}-warm/"
    rows = [[who, times(results.ratio(prefix + who, prefix + "floor", "processor_ns")),
             f"{results.get(prefix + who, 'resident_per_parameter'):.0f}", what]
            for who, what in LOADERS]
    return table([f"loading {int(PEERS_LOAD):,} parameters", "× processor time",
                  "resident bytes a parameter", "what is measured"], rows)


# What grows, the names of its measurements before and after the number, and the time that counts.
GROWTHS = (("parameters in a file", "load/", "-warm/varnix", "processor_ns"),
           ("files with 100,000 parameters", "load/files-", "/varnix", "processor_ns"),
           ("handles on 100 parameters each", "load/handles-", "/varnix", "processor_ns"),
           ("processes with 100 parameters each, at once", "load/processes-", "/varnix", "real_time"))


def growth_of(results, before, after, field):
    """Each number with its time in nanoseconds and its resident bytes a parameter, or a unit."""
    numbers = sorted(int(name[len(before):-len(after)]) for name in results.medians
                     if name.startswith(before) and name.endswith(after)
                     and name[len(before):-len(after)].isdigit())
    scale = 1e3 if field == "real_time" else 1
    return [(number, results.get(f"{before}{number}{after}", field) * scale,
             results.get(f"{before}{number}{after}", "resident_per_parameter"))
            for number in numbers]


def growth(results):
    rows = []
    for what, before, after, field in GROWTHS:
        last = None
        for point in growth_of(results, before, after, field):
            rows.append([what, f"{point[0]:,}", f"{point[1] / 1e3:.0f}",
                         f"{slope(last, point):.2f}" if last else "", f"{point[2]:.0f}"])
            last = point
    return table(["number of", "", "time, µs", "slope", "resident bytes of each"], rows)


def steepest(results):
    """Between numbers that are far enough apart for what one costs to be seen."""
    slopes = []
    for _, before, after, field in GROWTHS:
        points = growth_of(results, before, after, field)
        slopes.append(slope(points[len(points) // 2], points[-1]))
    return max(slopes)


def writes(results):
    rows = []
    for name in sorted(n for n in results.medians if n.startswith("wait/")):
        _, where, rate = name.split("/")
        cells = [where.replace("-", " "), rate]
        if "p99_ns" in results.medians[name]:
            cells += [f"{results.get(name, f) / 1e3:.1f}" for f in ("median_ns", "p99_ns", "worst_ns")]
        else:
            cells += ["", "", ""]
        rows.append(cells + [f"{results.get(name, 'reads_per_second') / 1e6:.1f}"])
    return table(["readers spin, two or 64; written is", "writes a second", "wait: median, µs",
                  "99th percentile, µs", "worst, µs", "million reads a second"], rows)


def in_place_ratio(results):
    write, lock = results.get("write/in-place"), results.get("write/lock")
    return write / (write - lock)


def others(results):
    rows = [["an in-place write of U32x4", f"{results.get('write/in-place'):.1f} ns",
             f"of it the lock {results.get('write/lock'):.1f} ns: "
             f"{in_place_ratio(results):.2f} × the same without a lock"],
            ["the checksum", f"{results.get('checksum/varnix', 'bytes_per_second') / 1e9:.2f} GB/s",
             f"by table {results.get('checksum/table', 'bytes_per_second') / 1e9:.2f} GB/s, "
             f"a byte at a time {results.get('checksum/bytewise', 'bytes_per_second') / 1e9:.2f} GB/s"],
            ["a trace event, disabled",
             f"{results.get('trace/disabled') - results.get('trace/none'):.2f} ns",
             "beyond an empty loop"]]
    if "trace/enabled" in results:
        rows.append(["a trace event, enabled", f"{results.get('trace/enabled'):.0f} ns",
                     "its text composed and recorded"])
    if "latency/write" in results:
        rows.append(["from the server's send to a reader that sees it",
                     f"{results.get('latency/write', 'median_ns') / 1e3:.0f} µs",
                     f"99th percentile {results.get('latency/write', 'p99_ns') / 1e3:.0f} µs, worst "
                     f"{results.get('latency/write', 'worst_ns') / 1e3:.0f} µs"])
    if "operator/write" in results:
        rows.append(["an operator's write to 100 subscribers, until `varnix write` has answered",
                     f"{results.get('operator/write', 'median_ns') / 1e6:.0f} ms",
                     f"99th percentile {results.get('operator/write', 'p99_ns') / 1e6:.0f} ms; the start "
                     f"of the command alone {results.get('operator/start', 'median_ns') / 1e6:.0f} ms"])
    return table(["what", "costs", ""], rows)


def audited(results):
    """The numbers of nodes that were judged."""
    return sorted(int(name.split("/")[1]) for name in results.medians
                  if name.startswith("audit/") and name.endswith("/all"))


def audits(results):
    rows = []
    for nodes in audited(results):
        seconds = {jobs: results.get(f"audit/{nodes}/{jobs}", "real_time") / 1e3
                   for jobs in ("one", "all")}
        explains = nodes * results.get("audit/explain", "real_time") / 1e3
        rows.append([f"{nodes:,}", f"{seconds['one']:.2f}", f"{seconds['all']:.2f}",
                     f"{results.get(f'audit/{nodes}/all', 'resident_mib'):.0f}",
                     f"{explains:.1f}", times(explains / seconds["all"])])
    return table(["nodes, each three files of 300 parameters", "one at a time, s", "on all cores, s",
                  "MiB", "a process of `varnix explain` each, s", "× all cores"], rows)


def audit_goals(results):
    nodes = audited(results)
    points = [(count, results.get(f"audit/{count}/all", "real_time")) for count in nodes]
    return [("1,000 nodes judged on all cores, s", dict(points)[1000] / 1e3, 2, True),
            ("the growth of that time to 10,000 nodes (1: in proportion)", slope(points[-2], points[-1]),
             1.15, True)]


def read_goals(results):
    read = {v: results.ratio(f"read/{v}/varnix", f"read/{v}/floor") for v in VALUES}
    production, missing = (results.ratio(f"read/U32x4/{which}", "read/U32x4/floor")
                           for which in ("production", "missing"))
    return [("a read of U32x4, × floor", read["U32x4"], 1.1, True),
            ("a read of text24, × floor", read["text24"], 1.1, True),
            ("a read of U8x1024, × floor", read["U8x1024"], 1.05, True),
            ("a read of U16x512, × floor", read["U16x512"], 1.05, True),
            ("a read of U32x4 that is missing in both, × floor of a hit", missing, 0.76, True),
            ("a hit in the production database alone, × floor", production, 1.35, True)]


def goals(results):
    """Each goal: what it is about, what was measured, the limit, and whether less is better."""
    beyond = (results.get("wait/same-store/10000", "p99_ns")
              - results.get("wait/other-store/10000", "p99_ns")) / 1e6
    load = {s: results.ratio(f"load/{s}-warm/varnix", f"load/{s}-warm/floor", "processor_ns")
            for s in SIZES}
    memory = results.get("load/100000-warm/varnix", "resident_per_parameter")
    threads, gain = scaling(results, "varnix")
    _, floor_gain = scaling(results, "floor")
    files = (results.get("load/files-64/varnix", "processor_ns")
             / results.get("load/files-1/varnix", "processor_ns"))
    checksum = results.get("checksum/varnix", "bytes_per_second") / 1e9
    rows = [*read_goals(results),
            # Two threads cannot gain more than two processors give.
            (f"{threads} threads, × one (the floor {floor_gain:.2f})", gain,
             round(min(1.95, floor_gain), 2), False),
            ("a write's 99th percentile beside two spinning readers, ms beyond the scheduler's",
             max(beyond, 0), 0.2, True),
            ("a write's median beside 64 spinning readers, ms",
             results.get("wait/beside-64/100", "median_ns") / 1e6, 1, True),
            ("an in-place write, µs", results.get("write/in-place") / 1e3, 2, True),
            ("loading 100,000 parameters, × read and copy", load["100000"], 2.7, True),
            ("loading 1,000 parameters, × read and copy", load["1000"], 3, True),
            ("loading 100,000 parameters in 64 files, × in one", files, 1.15, True),
            ("resident bytes a parameter of U32x4", memory, 99, True),
            ("the steepest growth of time with a number (1: in proportion)", steepest(results),
             1.15, True),
            ("the checksum in cache, GB/s", checksum, 15, False),
            ("a single integer by the kit, × the interface's own read",
             results.ratio("kit/U16x1/value", "kit/U16x1/interface"), 1.15, True),
            ("a U32x4 by the kit, × the interface's own read",
             results.ratio("kit/U32x4/read", "kit/U32x4/interface"), 1.15, True),
            ("a text24 by the kit, × the interface's own read",
             results.ratio("kit/text24/read", "kit/text24/interface"), 1.15, True),
            ("a look at 1,000 single integers, µs", results.get("kit/U16x1/look") / 1e3, 50, True),
            ("a look at 1,000 of text24, µs", results.get("kit/text24/look") / 1e3, 50, True)]
    if "operator/write" in results:
        rows.append(("a write to 100 subscribers until it has answered, ms",
                     results.get("operator/write", "median_ns") / 1e6, 100, True))
    if "inspection/get" in results:
        rows.append(("varnix get --pid on 100,000 parameters, from start to end, ms",
                     results.get("inspection/get", "real_time"), 20, True))
    if audited(results):
        rows += audit_goals(results)
    return table(["goal", "measured", "limit", ""],
                 [[what, f"{measured:.2f}", ("at most " if less else "at least ") + str(limit),
                   "met" if (measured <= limit) == less or measured == limit else "**not met**"]
                  for what, measured, limit, less in rows])


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()


def machine():
    facts = dict(line.split(":", 1) for line in output_of("lscpu").splitlines() if ":" in line)
    dirty = " with changes" if output_of("git", "status", "--porcelain", "src", "bench") else ""
    load = pathlib.Path("/proc/loadavg").read_text().split()[0]
    return (f"Measured at commit {output_of('git', 'rev-parse', '--short=12', 'HEAD')}{dirty} on "
            f"{facts['CPU(s)'].strip()} × {facts['Model name'].strip()}, "
            f"{output_of('g++', '-dumpfullversion')} as g++, with `script/bench --publish`; the "
            f"machine's load average at the end was {load}.\n")


SECTIONS = (("Goals", goals), ("Reads", reads), ("How a read ends", outcomes),
            ("Every overload", overloads), ("In parallel", parallel), ("Loading", loads), ("Growth", growth),
            ("Loading, beside others", loads_of_others), ("Waiting writers", writes),
            ("Judging nodes", audits), ("The rest", others))


def charts(results, directory):
    directory.mkdir(exist_ok=True)
    small = [("floor", 1.0)] + [(who, results.ratio(f"read/U32x4/{who}", "read/U32x4/floor"))
                                for who in ("varnix",) + PEERS]
    (directory / "reads.svg").write_text(
        bar_chart("One read of four U32, × a bare map", small, logarithmic=True))
    ours = [(size, results.ratio(f"load/{size}-warm/varnix", f"load/{size}-warm/floor",
                                 "processor_ns")) for size in SIZES]
    (directory / "loads.svg").write_text(
        bar_chart("Loading that many parameters, × reading and copying the file", ours))
    prefix = f"load/{PEERS_LOAD}-warm/"
    everybody = [(who, results.ratio(prefix + who, prefix + "floor", "processor_ns"))
                 for who, _ in LOADERS]
    (directory / "loads-beside-others.svg").write_text(
        bar_chart(f"Loading {int(PEERS_LOAD):,} parameters, × reading and copying the file",
                  everybody, logarithmic=True))


def publish(document, text):
    before, rest = document.read_text().split(MARKS[0])
    after = rest.split(MARKS[1])[1]
    document.write_text(before + MARKS[0] + text + MARKS[1] + after)


def main():
    directory = pathlib.Path(sys.argv[1])
    results = Results(directory)
    text = machine() + "".join(f"\n## {title}\n\n{make(results)}" for title, make in SECTIONS)
    print(text)
    (directory / "ratios.md").write_text(text)
    if sys.argv[2:3] == ["--publish"]:
        document = pathlib.Path(sys.argv[3])
        publish(document, text)
        charts(results, document.parent / "performance")


if __name__ == "__main__":
    main()
