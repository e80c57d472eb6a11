"""The tables of mutants: reading them, and checking that they fit the sources."""

import dataclasses
import pathlib

LEAST = 300
MOST_EQUIVALENT = 0.03


class TableError(Exception):
    """A table that cannot be read."""


@dataclasses.dataclass(frozen=True)
class Mutant:
    """A change of one source that at least one of the test programs must notice."""

    place: str  # FILE:LINE in the tables
    source: str
    tests: tuple
    old: str
    new: str
    reason: str  # why no test can notice it; empty for the others


def _hunks(lines):
    """Yields (number of the first line, lines) of each paragraph."""
    start, hunk = 0, []
    for number, line in enumerate([*lines, ""], 1):
        if line:
            start = start or number
            hunk.append(line)
        elif hunk:
            yield start, hunk
            start, hunk = 0, []


def _mutant(place, hunk, source, tests):
    parts = {"-": [], "+": [], "=": [], "!": []}
    for line in hunk:
        if line[0] not in parts or (len(line) > 1 and line[1] != " "):
            raise TableError(f"{place}: a line starts with none of '- ', '+ ', '! ' and '= ': {line}")
        parts[line[0]].append(line[2:])
    if not parts["-"] or not parts["+"]:
        raise TableError(f"{place}: a mutant needs '-' and '+' lines")
    if parts["!"]:
        tests = tuple(" ".join(parts["!"]).split())
    return Mutant(place, source, tests, "\n".join(parts["-"]), "\n".join(parts["+"]),
                  " ".join(parts["="]))


def read(directory):
    """Returns the mutants of every table in `directory`."""
    mutants = []
    for path in sorted(pathlib.Path(directory).glob("*.txt")):
        source, tests = "", ()
        for number, hunk in _hunks(path.read_text().splitlines()):
            place = f"{path.name}:{number}"
            if hunk[0].startswith("@ "):
                source, *tests = hunk.pop(0).split()[1:]
                tests = tuple(tests)
            if not source or not tests:
                raise TableError(f"{place}: no line '@ SOURCE TEST...' before this mutant")
            mutants.append(_mutant(place, hunk, source, tests))
    return mutants


def test_source(root, test):
    """Returns the source of a test program; None if there is none."""
    return next(iter(sorted((root / "tests").glob(f"*/{test}_test.cpp"))), None)


def _mutant_faults(root, mutant):
    path = root / mutant.source
    if not path.is_file():
        yield f"{mutant.place}: {mutant.source} does not exist"
        return
    count = path.read_text().count(mutant.old)
    if count != 1:
        yield (f"{mutant.place}: {mutant.source} has this text {count} times, not once; "
               f"follow the source, or replace the mutant by another one:\n  {mutant.old}")
    if mutant.old == mutant.new:
        yield f"{mutant.place}: changes nothing"
    for test in mutant.tests:
        if test_source(root, test) is None:
            yield f"{mutant.place}: no test program '{test}'"


def faults(root, mutants):
    """Yields what is wrong with the tables as a whole and with each mutant."""
    for mutant in mutants:
        yield from _mutant_faults(root, mutant)
    seen = {}
    for mutant in mutants:
        first = seen.setdefault((mutant.source, mutant.old, mutant.new), mutant)
        if first is not mutant:
            yield f"{mutant.place}: the same as {first.place}"
    sources = {mutant.source for mutant in mutants}
    for path in sorted((root / "src").glob("*/*.cpp")):
        if str(path.relative_to(root)) not in sources:
            yield f"{path.relative_to(root)} has no mutant"
    if len(mutants) < LEAST:
        yield f"{len(mutants)} mutants; at least {LEAST} are required"
    equivalent = sum(1 for mutant in mutants if mutant.reason)
    if equivalent > MOST_EQUIVALENT * len(mutants):
        yield f"{equivalent} of {len(mutants)} mutants are equivalent; replace some"
