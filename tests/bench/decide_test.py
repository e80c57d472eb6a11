#!/usr/bin/env python3
"""Checks the verdicts on samples whose right verdict is known. Usage: decide_test.py BENCH-DIR"""

import math
import pathlib
import random
import sys
import unittest

sys.path.insert(0, sys.argv.pop(1) if len(sys.argv) > 1
                else str(pathlib.Path(__file__).parents[2] / "bench"))
import decide  # noqa: E402
from decide import Bar, Sample, decide as verdict_on  # noqa: E402


def samples(time, launches=7, repetitions=4, noise=0.01, seed=1, fairness=None):
    """Samples around a time, or around what time(launch, repetition) returns."""
    rng = random.Random(seed)
    at = time if callable(time) else (lambda launch, repetition: time)
    return [Sample(launch, repetition, at(launch, repetition) * (1 + rng.uniform(-noise, noise)),
                   fairness)
            for launch in range(launches) for repetition in range(repetitions)]


def cell(ours, **peers):
    found = {"ours": samples(ours, seed=10), "ours-again": samples(ours, seed=11)}
    for seed, (who, time) in enumerate(peers.items(), 20):
        found[who.replace("__", ":")] = samples(time, seed=seed)
    return found


class Interval(unittest.TestCase):
    def test_ranks_of_a_binomial_table(self):
        for count, low, high in ((6, 1, 6), (8, 1, 8), (9, 2, 8), (12, 3, 10), (16, 4, 13),
                                 (20, 6, 15), (25, 8, 18)):
            self.assertEqual(decide.interval(range(1, count + 1)), (low, high), count)

    def test_needs_six_values(self):
        self.assertIsNone(decide.interval([1, 2, 3, 4, 5]))

    def test_ignores_order_and_outliers(self):
        self.assertEqual(decide.interval([1000, 1, 5, 3, 2, 4, 7, 6, 8]), (2, 8))


class Pairing(unittest.TestCase):
    def test_pairs_by_launch_and_repetition(self):
        ours = [Sample(0, 0, 10), Sample(1, 1, 30), Sample(1, 0, 20)]
        theirs = [Sample(1, 0, 2), Sample(0, 0, 1), Sample(2, 0, 9)]
        self.assertEqual(decide.paired(ours, theirs), [(10, 1), (20, 2)])

    def test_cancels_the_effect_of_a_launch_on_both(self):
        drift = lambda launch, _: 100 * (1 + launch)
        found = verdict_on(cell(drift, peer=lambda launch, r: 2 * drift(launch, r)))
        self.assertEqual(found.word, "faster")
        self.assertAlmostEqual(found.ratio, 0.5, delta=0.02)


class Verdicts(unittest.TestCase):
    def test_slower(self):
        found = verdict_on(cell(110, peer=100))
        self.assertEqual((found.word, found.against), ("slower", "peer"))
        self.assertGreater(found.low, 1.03)
        self.assertGreater(found.pairs, 10)

    def test_faster(self):
        self.assertEqual(verdict_on(cell(80, peer=100)).word, "faster")

    def test_level_within_three_percent(self):
        self.assertEqual(verdict_on(cell(102, peer=100)).word, "level")
        self.assertEqual(verdict_on(cell(98, peer=100)).word, "level")

    def test_level_when_the_interval_reaches_down(self):
        flaky = lambda launch, repetition: 100 if (launch + repetition) % 3 == 0 else 112
        cells = {"ours": samples(flaky, noise=0), "ours-again": samples(flaky, noise=0),
                 "peer": samples(lambda l, r: 100 if r % 2 else 110, noise=0)}
        self.assertEqual(verdict_on(cells).word, "level")

    def test_a_gap_of_two_nanoseconds_is_level(self):
        self.assertEqual(verdict_on(cell(11.9, peer=10)).word, "level")
        self.assertEqual(verdict_on(cell(13, peer=10)).word, "slower")

    def test_undecided_when_ours_differs_from_itself(self):
        cells = cell(110, peer=100)
        cells["ours-again"] = samples(115, seed=3)
        found = verdict_on(cells)
        self.assertEqual(found.word, "undecided")
        self.assertIn("ours differs from itself by", found.reason)

    def test_undecided_with_few_pairs(self):
        cells = {who: samples(time, launches=2, repetitions=2)
                 for who, time in (("ours", 110), ("ours-again", 110), ("peer", 100))}
        found = verdict_on(cells)
        self.assertEqual((found.word, found.reason), ("undecided", "only 2 pairs"))

    def test_nothing_to_compare(self):
        self.assertEqual(verdict_on(cell(10)).word, "nothing to compare")

    def test_without_ours(self):
        self.assertEqual(verdict_on({"peer": samples(10)}).word, "undecided")


class Against(unittest.TestCase):
    def test_the_best_peer_is_chosen_on_one_half_and_judged_on_the_other(self):
        # The lucky peer is fast only in the launches on which peers are chosen.
        choosing, judging = decide.halves(range(7))
        self.assertEqual((choosing, judging), ({1, 3, 5}, {0, 2, 4, 6}))
        lucky = lambda launch, _: 50 if launch in choosing else 200
        found = verdict_on(cell(100, steady=90, lucky=lucky))
        self.assertEqual((found.against, found.word), ("lucky", "faster"))
        self.assertEqual(found.pairs, 16)

    def test_calls_that_the_contract_names_come_before_peers(self):
        found = verdict_on(cell(100, peer=50, calls__five=98))
        self.assertEqual((found.against, found.word), ("calls:five", "level"))

    def test_a_limit_is_for_information(self):
        found = verdict_on(cell(100, peer=150, limit__copy=50))
        self.assertEqual((found.against, found.word), ("peer", "faster"))
        self.assertAlmostEqual(found.floor_ratio, 2, delta=0.05)

    def test_a_limit_judges_nothing(self):
        self.assertEqual(verdict_on(cell(100, limit__copy=50)).word, "nothing to compare")

    def test_a_bar(self):
        self.assertEqual(verdict_on(cell(130, ace=100), Bar("ace", 1.4)).word, "within")
        self.assertEqual(verdict_on(cell(150, ace=100), Bar("ace", 1.4)).word, "over")


class Handovers(unittest.TestCase):
    def test_unfair_samples_are_dropped_and_counted(self):
        cells = {who: samples(time, fairness=0.99) for who, time in
                 (("ours", 5000), ("ours-again", 5000), ("ace", 5500))}
        cells["ours"] = [s._replace(time=100, fairness=0.5) if s.repetition == 0 else s
                         for s in cells["ours"]]
        found = verdict_on(cells)
        self.assertEqual((found.word, found.dropped), ("faster", 7))
        self.assertAlmostEqual(found.fairness, 0.99)
        self.assertAlmostEqual(found.ours, 5000, delta=100)

    def test_a_sample_at_the_bound_is_kept(self):
        self.assertEqual(len(decide.fair([Sample(0, 0, 1, 0.95), Sample(0, 1, 1, 0.9499)])), 1)

    def test_a_rare_mode_is_left_out_of_the_median_and_reported(self):
        rare = lambda launch, repetition: 1000 if repetition == 3 else 5000
        cells = {"ours": samples(rare, fairness=1.0), "ours-again": samples(5000, fairness=1.0),
                 "ace": samples(5000, fairness=1.0, seed=2)}
        found = verdict_on(cells)
        self.assertEqual(found.word, "level")
        self.assertIn("x21", found.modes)
        self.assertIn("x7", found.modes)

    def test_several_modes_have_no_median(self):
        split = lambda launch, repetition: 1000 if repetition % 2 else 5000
        cells = {"ours": samples(split, fairness=1.0), "ours-again": samples(split, fairness=1.0),
                 "ace": samples(5000, fairness=1.0)}
        found = verdict_on(cells)
        self.assertEqual((found.word, found.reason), ("undecided", "several scheduling modes"))
        self.assertTrue(math.isnan(found.ratio))

    def test_a_cell_of_unfair_samples_only(self):
        cells = {who: samples(10, fairness=0.5) for who in ("ours", "ours-again", "ace")}
        found = verdict_on(cells)
        self.assertEqual((found.word, found.dropped), ("undecided", 84))
        self.assertEqual(found.reason, "no fair sample")


class Growth(unittest.TestCase):
    def test_compares_sizes_64_apart(self):
        found = decide.growth({size: samples(time) for size, time in
                               ((1024, 10), (65536, 700), (1 << 20, 9000), (64 << 20, 900000))})
        self.assertEqual(found, {1024: 70, 1 << 20: 100})

    def test_compares_sizes_of_one_launch(self):
        slow = lambda time: [s._replace(time=2 * time) for s in samples(time) if s.launch % 2]
        fast = lambda time: [s for s in samples(time) if s.launch % 2 == 0]
        found = decide.growth({1024: fast(10), 65536: [*fast(640), *slow(640)]})
        self.assertEqual(found, {1024: 64})



if __name__ == "__main__":
    unittest.main()
