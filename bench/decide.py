"""The rules by which a benchmark's samples become a verdict.

A cell is one operation at one size: {"ours": samples, "ours-again": samples, PEER: samples,
"calls:NAME": samples, "limit:NAME": samples}. Samples are paired by launch and repetition, because a
launch fixes what luck adds (where memory lies) and a repetition what the machine did at that moment.
"""

import math
import statistics
from dataclasses import dataclass
from typing import NamedTuple, Optional

OURS = "ours"
AGAIN = "ours-again"
CALLS = "calls:"
LIMIT = "limit:"

SAME = 0.03          # what two measurements of the same code may differ
GAP = 2.0            # nanoseconds that a user can notice
FAIR = 0.95          # of a handover; below it some threads hardly took part
MODE_STEP = 1.5      # neighboring samples further apart belong to different scheduling modes
MAIN_MODE = 2 / 3    # of the samples, for a mode to stand for a cell
CONFIDENCE = 0.95
FEWEST_PAIRS = 6     # fewer have no interval of that confidence


class Sample(NamedTuple):
    """One repetition in one launch: nanoseconds, and the fairness of a handover."""
    launch: int
    repetition: int
    time: float
    fairness: Optional[float] = None

    @property
    def key(self):
        return self.launch, self.repetition


class Bar(NamedTuple):
    """A cell whose contract costs more than a peer: how much more is accepted."""
    peer: str
    factor: float


@dataclass
class Verdict:
    word: str                    # faster, level, slower, within, over, undecided or nothing to compare
    reason: str = ""
    against: str = ""
    ours: float = math.nan       # medians in nanoseconds
    theirs: float = math.nan
    ratio: float = math.nan      # median of the paired ratios
    low: float = math.nan        # its interval
    high: float = math.nan
    pairs: int = 0
    repeat: float = math.nan     # ours-again / ours
    floor: str = ""              # what no implementation does without, for information
    floor_ratio: float = math.nan
    dropped: int = 0             # unfair samples
    fairness: float = math.nan   # the median of the rest
    modes: str = ""


def interval(values):
    """The order-statistic interval of the median: no assumption on the distribution.

    Returns (low, high), or None for too few values.
    """
    ordered = sorted(values)
    count = len(ordered)
    if count < FEWEST_PAIRS:
        return None
    rank, tail = 0, 0.0
    while True:
        tail += math.comb(count, rank) / 2 ** count
        if 2 * tail > 1 - CONFIDENCE:
            break
        rank += 1
    return ordered[rank - 1], ordered[count - rank]


def paired(ours, theirs):
    """The pairs of times of two lists of samples that share a launch and a repetition."""
    others = {sample.key: sample.time for sample in theirs}
    return [(sample.time, others[sample.key]) for sample in ours if sample.key in others]


def ratio(pairs):
    return statistics.median(ours / theirs for ours, theirs in pairs) if pairs else math.nan


def median(samples):
    return statistics.median(sample.time for sample in samples) if samples else math.nan


def halves(launches):
    """Splits launches: the peer is chosen on the first half and judged on the second.

    A peer chosen and judged on the same launches would be the luckiest one.
    """
    ordered = sorted(launches)
    return set(ordered[1::2]), set(ordered[0::2])


def modes(samples):
    """Splits samples into scheduling modes, the most frequent first."""
    groups = []
    for sample in sorted(samples, key=lambda each: each.time):
        if not groups or sample.time > MODE_STEP * groups[-1][-1].time:
            groups.append([])
        groups[-1].append(sample)
    return sorted(groups, key=len, reverse=True)


def fair(samples):
    """The samples of a handover in which every thread took part."""
    return [s for s in samples if s.fairness is None or s.fairness >= FAIR]


def _during(samples, launches):
    return [sample for sample in samples if sample.launch in launches]


def _against(cell, choosing, bar):
    """What the cell is judged by: its bar's peer, the calls it must make, or the best peer."""
    if bar is not None:
        return bar.peer if bar.peer in cell else None
    calls = [who for who in cell if who.startswith(CALLS)]
    if calls:
        return calls[0]
    peers = [who for who in cell if who not in (OURS, AGAIN) and not who.startswith(LIMIT)]
    times = {who: median(_during(cell[who], choosing)) for who in peers}
    times = {who: time for who, time in times.items() if not math.isnan(time)}
    return min(times, key=times.get) if times else None


def _describe(who, groups):
    return f"{who} " + ", ".join(f"{median(group) / 1000:.2f} us x{len(group)}" for group in groups)


def _main_modes(cell, against, verdict):
    """Keeps the main mode of a handover cell on both sides; returns whether there is one."""
    described = []
    for who in (OURS, AGAIN, against):
        groups = modes(cell.get(who, []))
        if not groups:
            continue
        if len(groups) > 1:
            described.append(_describe(who, groups))
        if len(groups[0]) < MAIN_MODE * len(cell[who]):
            verdict.modes = "; ".join(described)
            return False
        cell[who] = groups[0]
    verdict.modes = "; ".join(described)
    return True


def _judge(verdict, pairs, bar):
    found = interval([ours / theirs for ours, theirs in pairs])
    verdict.pairs = len(pairs)
    verdict.ratio = ratio(pairs)
    if found is None:
        return "undecided", f"only {len(pairs)} pairs"
    verdict.low, verdict.high = found
    if abs(verdict.repeat - 1) > SAME:
        return "undecided", f"ours differs from itself by {abs(verdict.repeat - 1):.0%}"
    if bar is not None:
        return ("over", f"bar {bar.factor}") if verdict.low > bar.factor else (
            "within", f"bar {bar.factor}")
    gap = statistics.median(ours - theirs for ours, theirs in pairs)
    if verdict.low > 1 + SAME and gap > GAP:
        return "slower", ""
    if verdict.high < 1 - SAME:
        return "faster", ""
    return "level", ""


def decide(cell, bar=None):
    """The verdict on a cell."""
    cell = dict(cell)
    verdict = Verdict("undecided")
    handover = any(s.fairness is not None for s in cell.get(OURS, []))
    if handover:
        for who, samples in cell.items():
            kept = fair(samples)
            verdict.dropped += len(samples) - len(kept)
            cell[who] = kept
        if not cell.get(OURS):
            verdict.reason = "no fair sample"
            return verdict
        verdict.fairness = statistics.median(s.fairness for s in cell[OURS])
    choosing, judging = halves({s.launch for samples in cell.values() for s in samples})
    against = _against(cell, choosing, bar)
    floors = [who for who in cell if who.startswith((LIMIT, CALLS)) and who != against]
    if against is None:
        verdict.word, verdict.reason = "nothing to compare", ""
        return verdict
    verdict.against = against
    if handover and not _main_modes(cell, against, verdict):
        verdict.reason = "several scheduling modes"
        return verdict
    cell = {who: _during(samples, judging) for who, samples in cell.items()}
    verdict.ours, verdict.theirs = median(cell.get(OURS, [])), median(cell[against])
    verdict.repeat = ratio(paired(cell.get(AGAIN, []), cell.get(OURS, [])))
    if floors:
        verdict.floor = floors[0]
        verdict.floor_ratio = ratio(paired(cell.get(OURS, []), cell[floors[0]]))
    verdict.word, verdict.reason = _judge(verdict, paired(cell.get(OURS, []), cell[against]), bar)
    return verdict


def growth(samples):
    """Time(64 n) / time(n) for each n of {size: samples} that has both, the median of all launches: a
    processor's clock differs between launches more than within one."""
    found = {}
    for size in sorted(samples):
        larger = samples.get(64 * size, [])
        launches = {s.launch for s in samples[size]} & {s.launch for s in larger}
        if launches:
            found[size] = statistics.median(
                median(_during(larger, {launch})) / median(_during(samples[size], {launch}))
                for launch in launches)
    return found
