"""Prints the verdicts of recorded launches, as tables or as JSON."""

import dataclasses
import datetime
import json
import math
import os
import pathlib
import platform
import re
import statistics

import decide

HERE = pathlib.Path(__file__).parent
UNIT_BYTES = {"": 1, "B": 1, "KiB": 1 << 10, "MiB": 1 << 20, "GiB": 1 << 30}
MOST_GROWTH = 80
WORDS = ("faster", "level", "slower", "within", "over", "undecided", "nothing to compare", "failed")


def bars():
    found = json.loads((HERE / "bars.json").read_text())
    return ({cell: decide.Bar(bar["peer"], bar["factor"]) for cell, bar in found["ratios"].items()},
            found["counters"], found["scaling"])


def family_of(program):
    return program.name.removesuffix("_bench").replace("_", " ")


class Results:
    """The verdicts on every cell, family by family."""

    def __init__(self, programs, record):
        self.families = {}
        self.growth = {}
        self.counters = {}
        self.scaling = {}
        ratios, self.counter_bars, self.scaling_bars = bars()
        for program in programs.paths:
            cells, counters, errors = record.read(program)
            verdicts = {cell: decide.decide(samples, ratios.get(cell))
                        for cell, samples in cells.items()}
            for cell, error in errors.items():
                verdicts[cell] = decide.Verdict("failed", error)
            self.families[family_of(program)] = verdicts
            self.growth.update(growth_of(cells))
            self.scaling.update(scaling_of(cells))
            for key, counted in counters.items():
                self.counters[key] = {name: statistics.median(each[name] for each in counted)
                                      for name in counted[0]}

    def count(self):
        words = [v.word for verdicts in self.families.values() for v in verdicts.values()]
        return {word: words.count(word) for word in WORDS if word in words}

    def over_counters(self):
        """Yields (cell, who, counter, value, most) for the counters above their bar."""
        for (cell, who), counted in self.counters.items():
            for name, most in self.counter_bars.items():
                if who == decide.OURS and counted.get(name, 0) > most:
                    yield cell, who, name, counted[name], most

    def under_scaling(self):
        """Yields (operation, reached, least) for what two threads gain below its bar."""
        for operation, reached in self.scaling.items():
            least = self.scaling_bars.get(operation, 0)
            if reached < least:
                yield operation, reached, least


def size_of(cell):
    """Splits a cell into its operation and its size in bytes, None if it has none."""
    operation, _, size = cell.rpartition("/")
    match = re.fullmatch(r"(\d+) ?(B|KiB|MiB|GiB|)([-,].*)?", size)
    if not match or operation == "":
        return cell, None
    return operation + (match[3] or ""), int(match[1]) * UNIT_BYTES[match[2]]


@dataclasses.dataclass
class Growth:
    """Time of 64 times the size over the time of the size: ours, and the limit's if there is one."""
    factor: float
    limit: str = ""
    limit_factor: float = math.nan
    beside: float = math.nan     # ours over the limit at 64 times the size

    @property
    def word(self):
        """The caches end and the kernel clears new pages for the limit too."""
        slowing = MOST_GROWTH / 64
        within = (self.factor <= MOST_GROWTH or self.factor <= slowing * self.limit_factor
                  or self.beside <= slowing)
        return "within" if within else "over"


def growth_of(cells):
    """Returns {operation: {size: Growth}} of the cells that are measured at 64 times their size."""
    times = {}
    for cell, samples in cells.items():
        operation, size = size_of(cell)
        if size is None or size < 1024:
            continue
        for who, measured in samples.items():
            if who == decide.OURS or who.startswith("limit:"):
                times.setdefault(operation, {}).setdefault(who, {})[size] = measured
    found = {}
    for operation, of_who in times.items():
        factors = {who: decide.growth(of_size) for who, of_size in of_who.items()}
        limits = sorted(who for who in factors if who != decide.OURS)
        for size, factor in factors.get(decide.OURS, {}).items():
            grown = Growth(factor)
            if limits and size in factors[limits[0]]:
                largest = [decide.median(of_who[who][64 * size]) for who in (decide.OURS, limits[0])]
                grown = Growth(factor, limits[0].partition(":")[2], factors[limits[0]][size],
                               largest[0] / largest[1])
            found.setdefault(operation, {})[size] = grown
    return found


def scaling_of(cells):
    """What two threads gain over one, as a part of what two threads of an empty loop gain."""
    found = {}
    for cell, one in cells.items():
        operation, _, threads = cell.rpartition("/")
        two = cells.get(f"{operation}/2_threads", {})
        limit = "limit:empty_loop"
        if threads == "1_threads" and all(limit in each and decide.OURS in each
                                          for each in (one, two)):
            gains = [decide.median(one[who]) / decide.median(two[who])
                     for who in (decide.OURS, limit)]
            found[operation] = gains[0] / gains[1]
    return found


def duration(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return "" if math.isnan(nanoseconds) else f"{nanoseconds:.3g} ns"


def number(value):
    return "" if math.isnan(value) else f"{value:.2f}"


def short(size):
    for unit in ("MiB", "KiB"):
        if size >= UNIT_BYTES[unit] and size % UNIT_BYTES[unit] == 0:
            return f"{size // UNIT_BYTES[unit]} {unit}"
    return f"{size} B"


def notes(verdict):
    found = [verdict.reason, verdict.modes]
    if not math.isnan(verdict.fairness):
        found.append(f"fairness {verdict.fairness:.3f}, {verdict.dropped} unfair samples dropped")
    return "; ".join(note for note in found if note)


def table(head, rows):
    widths = [max(len(str(row[i])) for row in [head, *rows]) for i in range(len(head))]
    line = lambda cells: "| " + " | ".join(str(c).ljust(w) for c, w in zip(cells, widths)) + " |"
    return "\n".join([line(head), "|" + "|".join("-" * (w + 2) for w in widths) + "|",
                      *map(line, rows)])


def verdict_row(cell, v):
    floor = f"{number(v.floor_ratio)} {v.floor.partition(':')[2]}" if v.floor else ""
    low_high = "" if math.isnan(v.low) else f"{v.low:.2f} to {v.high:.2f}"
    return (cell, v.word, number(v.ratio), low_high, v.against, duration(v.ours),
            duration(v.theirs), floor, notes(v))


def families_text(results):
    head = ("Operation/size", "Verdict", "Ratio", "Interval", "Against", "Ours", "Theirs", "Floor",
            "Notes")
    for family, verdicts in results.families.items():
        yield f"## {family[0].upper()}{family[1:]}\n\n" + table(
            head, [verdict_row(cell, v) for cell, v in sorted(verdicts.items())
                   if v.word != "nothing to compare"])


def growth_text(results):
    rows = [(operation, short(size), short(64 * size), number(grown.factor),
             f"{number(grown.limit_factor)} {grown.limit}".strip(), grown.word)
            for operation, sizes in sorted(results.growth.items())
            for size, grown in sizes.items()]
    if rows:
        yield ("## Growth\n\nTime of 64 times the size over the time of the size: at most "
               f"{MOST_GROWTH}; or {MOST_GROWTH / 64:.2f} of the limit's, which meets the same caches "
               f"and new pages; or the larger size takes at most {MOST_GROWTH / 64:.2f} of the limit's "
               "time.\n\n" +
               table(("Operation", "From", "To", "Factor", "Limit", "Bar"), rows))


def counters_text(results):
    if not results.counters:
        return
    bars_said = ", ".join(f"{name} {most}" for name, most in results.counter_bars.items())
    yield f"## Processes\n\nBars of ours: at most {bars_said}."
    for names in dict.fromkeys(tuple(counted) for counted in results.counters.values()):
        yield table(("Cell", "Program", *names), [
            (cell, who, *(f"{value:.0f}" for value in counted.values()))
            for (cell, who), counted in sorted(results.counters.items())
            if tuple(counted) == names])


def scaling_text(results):
    rows = [(operation, number(reached), results.scaling_bars.get(operation, ""))
            for operation, reached in sorted(results.scaling.items())]
    if rows:
        yield ("## Threads\n\nWhat two threads gain over one, as a part of what two threads of an "
               "empty loop gain.\n\n" + table(("Operation", "Reached", "Bar: at least"), rows))


def machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = re.search(r"MemTotal:\s*(\d+)", pathlib.Path("/proc/meminfo").read_text())
    libc = " ".join(platform.libc_ver())
    return (f"{cpu[1] if cpu else platform.machine()}, {os.cpu_count()} processors, "
            f"{int(memory[1]) / (1 << 20):.0f} GiB, Linux {platform.release()}, {libc}")


def tables(results):
    counted = ", ".join(f"{count} {word}" for word, count in results.count().items())
    yield f"Cells: {counted}."
    yield from families_text(results)
    yield from growth_text(results)
    yield from scaling_text(results)
    yield from counters_text(results)


def document(results, command, loads):
    introduction = (HERE / "introduction.md").read_text().strip()
    facts = "\n".join((f"- Machine: {machine()}", f"- Command: `{command}`",
                       f"- Date: {datetime.datetime.now(datetime.timezone.utc):%Y-%m-%d}",
                       f"- Load before and after: {loads[0]:.2f}, {loads[1]:.2f}"))
    return "\n\n".join([introduction, "## This run", facts, *tables(results)]) + "\n"


def as_json(results, command, loads):
    def plain(value):
        return None if isinstance(value, float) and math.isnan(value) else value

    cells = [{"family": family, "cell": cell,
              **{name: plain(value) for name, value in dataclasses.asdict(v).items()}}
             for family, verdicts in results.families.items() for cell, v in verdicts.items()]
    growth = [{"operation": operation, "from": size, "to": 64 * size, "verdict": grown.word,
               **{name: plain(value) for name, value in dataclasses.asdict(grown).items()}}
              for operation, sizes in results.growth.items() for size, grown in sizes.items()]
    counters = [{"cell": cell, "who": who, **counted}
                for (cell, who), counted in results.counters.items()]
    return json.dumps({"schema": 1, "machine": machine(), "command": command,
                       "load": {"before": loads[0], "after": loads[1]}, "cells": cells,
                       "growth": growth, "scaling": results.scaling, "counters": counters}, indent=2)
