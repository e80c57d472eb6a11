"""Runs the benchmark programs of a build, round after round, and keeps each launch's samples.

What is recorded survives an interrupted run: the next one with the same programs and filter goes on.
"""

import hashlib
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import time
from collections import defaultdict

from decide import Sample

ROUNDS = 7
REPETITIONS = 4
MIN_TIME = 0.01      # seconds of a repetition
LAUNCH_LIMIT = 600   # seconds
COUNTERS = ("minor_faults", "resident_kib", "private_kib", "libraries",
            "visible_ms_p99", "snapshot_writes", "agent_kib")
UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def fail(message):
    sys.exit(f"bench: {message}")


def say(message):
    print(message, file=sys.stderr, flush=True)


class Programs:
    """The benchmark programs of a build that have a benchmark which the filter matches."""

    def __init__(self, build, pattern):
        self.pattern = pattern
        try:
            re.compile(pattern)
        except re.error as error:
            fail(f"'{pattern}' is not a regular expression: {error}")
        listed = pathlib.Path(build) / "benches.txt"
        if not listed.exists():
            fail(f"{listed} is missing: build with ./dev bench, or cmake --preset bench")
        every = [pathlib.Path(line) for line in listed.read_text().split()]
        missing = [path.name for path in every if not path.exists()]
        if missing:
            fail(f"{missing[0]} is not built: run cmake --build {build}")
        names = self._names(pathlib.Path(build) / "benches.json", every)
        self.paths = [path for path in every
                      if any(re.search(pattern, name) for name in names[str(path)])]
        if not self.paths:
            fail(f"no benchmark matches '{pattern}'; {every[0]} --benchmark_list_tests lists some")

    @staticmethod
    def _names(kept, programs):
        """Returns each program's benchmarks; listing them takes a while, so it is kept."""
        known = json.loads(kept.read_text()) if kept.exists() else {}
        for path in programs:
            changed = path.stat().st_mtime_ns
            if known.get(str(path), {}).get("changed") == changed:
                continue
            say(f"Listing the benchmarks of {path.name}")
            found = subprocess.run([path, "--benchmark_list_tests=true"], text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
            known[str(path)] = {"changed": changed, "names": found.stdout.split("\n")}
        kept.write_text(json.dumps(known))
        return {path: entry["names"] for path, entry in known.items()}

    def identity(self, library):
        """Changes with whatever would make recorded launches and new ones differ."""
        digest = hashlib.sha256(f"{self.pattern} {REPETITIONS} {MIN_TIME}".encode())
        for path in [*self.paths, pathlib.Path(library)]:
            digest.update(path.read_bytes())
        return digest.hexdigest()


def cell_of(run_name):
    """Splits Google Benchmark's name into the cell, who, and whether wall time is measured."""
    settings = re.compile(r"(iterations|repeats|min_time|threads):|(real|manual|process)_time$")
    parts = run_name.split("/")
    kept = [part for part in parts if not settings.match(part)]
    return "/".join(kept[:-1]), kept[-1], any(p in ("real_time", "manual_time") for p in parts)


def samples_of(text, launch):
    """Yields (cell, who, sample, counters, error) for each repetition in a launch's JSON."""
    for entry in json.loads(text)["benchmarks"]:
        if entry.get("run_type") != "iteration":
            continue
        cell, who, wall = cell_of(entry["run_name"])
        if entry.get("error_occurred"):
            yield cell, who, None, {}, entry.get("error_message", "failed")
            continue
        # CPU time of what computes on one thread: other processes do not lengthen it.
        took = entry["real_time" if wall else "cpu_time"] * UNITS[entry["time_unit"]]
        counters = {name: entry[name] for name in COUNTERS if name in entry}
        yield cell, who, Sample(launch, entry["repetition_index"], took,
                                entry.get("fairness")), counters, None


class Record:
    """The launches recorded so far, one file each."""

    def __init__(self, folder, identity):
        self.folder = pathlib.Path(folder)
        stamp = self.folder / "identity"
        if not stamp.exists() or stamp.read_text() != identity:
            shutil.rmtree(self.folder, ignore_errors=True)
            self.folder.mkdir(parents=True)
            stamp.write_text(identity)

    def file(self, program, launch):
        return self.folder / f"{program.name}.{launch}.json"

    def has(self, program, launch):
        return self.file(program, launch).exists()

    def put(self, program, launch, text):
        partial = self.folder / "partial"
        partial.write_text(text)
        os.replace(partial, self.file(program, launch))

    def read(self, program):
        """Returns ({cell: {who: samples}}, {(cell, who): counters}, {cell: error}) of a program."""
        cells = defaultdict(lambda: defaultdict(list))
        counters, errors = {}, {}
        for launch in range(1000):
            if not self.has(program, launch):
                break
            for cell, who, sample, counted, error in samples_of(
                    self.file(program, launch).read_text(), launch):
                if error:
                    errors[cell] = f"{who}: {error}"
                    continue
                cells[cell][who].append(sample)
                if counted:
                    counters.setdefault((cell, who), []).append(counted)
        return cells, counters, errors

    def clear(self):
        shutil.rmtree(self.folder, ignore_errors=True)


def load():
    return os.getloadavg()[0]


def launch_once(program, pattern):
    command = [program, "--benchmark_format=json", f"--benchmark_repetitions={REPETITIONS}",
               f"--benchmark_min_time={MIN_TIME}", "--benchmark_enable_random_interleaving=true",
               f"--benchmark_filter={pattern}"]
    try:
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                timeout=LAUNCH_LIMIT, check=False)
    except subprocess.TimeoutExpired:
        fail(f"{program.name} does not end within {LAUNCH_LIMIT} s; run it alone to see where it "
             f"stays: {program} --benchmark_filter='{pattern}'")
    if result.returncode != 0:
        fail(f"{program.name} ends with {result.returncode}: {result.stderr.strip()[-500:]}\n"
             f"run it alone: {program} --benchmark_filter='{pattern}'")
    return result.stdout


def run(programs, record, minutes):
    """Launches every program once a round, in random order, until all rounds or the time are over.

    Returns whether all rounds were made. The rounds of a run that was interrupted are not repeated.
    """
    end = time.monotonic() + 60 * minutes
    todo = []
    for launch in range(ROUNDS):
        order = [(program, launch) for program in programs.paths]
        random.shuffle(order)
        todo += order
    done = sum(record.has(*each) for each in todo)
    if done:
        say(f"Going on after {done} recorded launches of {len(todo)} (--fresh starts again)")
    say(f"Load {load():.2f}" + (": other work makes verdicts undecided" if load() > 0.5 else ""))
    longest = defaultdict(float)
    for number, (program, launch) in enumerate(todo, 1):
        if record.has(program, launch):
            continue
        begin = time.monotonic()
        if begin + longest[program] > end:
            say(f"Out of time after {number - 1} of {len(todo)} launches (--minutes N allows more)")
            return False
        before = load()
        record.put(program, launch, launch_once(program, programs.pattern))
        longest[program] = max(longest[program], time.monotonic() - begin)
        say(f"[{number}/{len(todo)}] {program.name}, round {launch + 1} of {ROUNDS}: "
            f"{time.monotonic() - begin:.0f} s, load {before:.2f} -> {load():.2f}")
    return True
