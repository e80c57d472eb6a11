#!/usr/bin/env python3
"""Runs bench/run on programs that print recorded samples. Usage: run_test.py BENCH-DIR"""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

BENCH = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1
                     else pathlib.Path(__file__).parents[2] / "bench").resolve()
sys.path.insert(0, str(BENCH))
import launches  # noqa: E402
import report  # noqa: E402

# Prints what Google Benchmark would, and counts its launches.
PROGRAM = """#!/bin/sh
case " $* " in
  *benchmark_list_tests*) echo {group}/ours; exit ;;
esac
echo launched >>"$0.launches"
{before}
cat "$0.json"
"""


def entry(name, time, repetition, **more):
    return {"run_name": name, "run_type": "iteration", "repetition_index": repetition,
            "real_time": time, "cpu_time": time, "time_unit": "ns", **more}


def entries(group, **times):
    return [entry(f"{group}/{who.replace('__', ':').replace('_again', '-again')}", time, repetition)
            for repetition in range(4) for who, time in times.items()]


class Build:
    """A build tree with programs of recorded samples."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)
        (self.path / "src").mkdir()
        (self.path / "src" / "libcommutil.so").write_text("library")
        self.programs = []

    def add(self, name, found, before=""):
        program = self.path / name
        group = found[0]["run_name"].rpartition("/")[0] if found else "none/0"
        program.write_text(PROGRAM.format(group=group, before=before))
        program.chmod(0o755)
        program.with_name(name + ".json").write_text(json.dumps({"benchmarks": found}))
        self.programs.append(program)
        (self.path / "benches.txt").write_text("\n".join(map(str, self.programs)))
        return program

    def launches(self, program):
        counted = program.with_name(program.name + ".launches")
        return len(counted.read_text().split()) if counted.exists() else 0

    def run(self, *arguments):
        return subprocess.run([sys.executable, BENCH / "run", *arguments], text=True,
                              capture_output=True, check=False)


class Names(unittest.TestCase):
    def test_settings_are_not_part_of_a_name(self):
        for name, expected in (
                ("like/1KiB/ours", ("like/1KiB", "ours", False)),
                ("copy/1/cp/real_time", ("copy/1", "cp", True)),
                ("hand/8/limit:futex/iterations:1/manual_time", ("hand/8", "limit:futex", True)),
                ("tool/x/calls:a+b/iterations:50/repeats:3", ("tool/x", "calls:a+b", False))):
            self.assertEqual(launches.cell_of(name), expected)

    def test_sizes(self):
        for cell, expected in (("like/1KiB", ("like", 1024)), ("read/65536", ("read", 65536)),
                               ("name/64 B, clean", ("name, clean", 64)),
                               ("wide/16MiB-cjk", ("wide-cjk", 16 << 20)),
                               ("token/alone", ("token/alone", None))):
            self.assertEqual(report.size_of(cell), expected)


class Samples(unittest.TestCase):
    def test_processor_time_unless_a_benchmark_asks_for_wall_time(self):
        found = [entry("a/1/ours", 7, 0, real_time=9), entry("b/1/ours/real_time", 7, 2,
                                                             real_time=9, time_unit="us"),
                 entry("a/1/ours_mean", 1, 0, run_type="aggregate")]
        read = list(launches.samples_of(json.dumps({"benchmarks": found}), 5))
        self.assertEqual([(cell, sample.time, sample.key) for cell, _, sample, _, _ in read],
                         [("a/1", 7, (5, 0)), ("b/1", 9000, (5, 2))])


class Run(unittest.TestCase):
    def setUp(self):
        self.build = Build()
        self.addCleanup(self.build.folder.cleanup)

    def test_prints_a_table_for_each_family(self):
        program = self.build.add("like_text_bench", entries(
            "like/1KiB", ours=100, ours_again=100, abseil=200, limit__copy=50))
        self.build.add("other_bench", entries("cut/20B", ours=300, ours_again=300, poco=200))
        result = self.build.run(self.build.path, "like|cut")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("## Like text", result.stdout)
        self.assertRegex(result.stdout, r"like/1KiB +\| faster +\| 0.50 +\| 0.50 to 0.50 \| abseil")
        self.assertRegex(result.stdout, r"2.00 copy")
        self.assertRegex(result.stdout, r"cut/20B +\| slower +\| 1.50")
        self.assertIn("Cells: 1 faster, 1 slower.", result.stdout)
        self.assertEqual(self.build.launches(program), 7)
        self.assertIn("round 7 of 7", result.stderr)
        self.assertIn("Load ", result.stderr)

    def test_a_finished_run_is_not_mistaken_for_the_next_one(self):
        program = self.build.add("x_bench", entries("x/1", ours=1, ours_again=1, peer=1))
        for launched in (7, 14):
            self.build.run(self.build.path, "x")
            self.assertEqual(self.build.launches(program), launched)

    def test_an_interrupted_run_continues(self):
        broken = 'test -e "$0.fixed" || { echo "it broke" >&2; exit 3; }'
        first = self.build.add("a_bench", entries("a/1", ours=1, ours_again=1, peer=1))
        second = self.build.add("b_bench", entries("b/1", ours=1, ours_again=1, peer=1), broken)
        result = self.build.run(self.build.path, ".*")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("b_bench ends with 3: it broke", result.stderr)
        second.with_name("b_bench.fixed").touch()
        self.assertEqual(self.build.run(self.build.path, ".*").returncode, 0)
        self.assertEqual(self.build.launches(first), 7)

    def test_other_programs_begin_a_new_run(self):
        program = self.build.add("a_bench", entries("a/1", ours=1, ours_again=1, peer=1))
        self.build.run("--minutes", "0", self.build.path, "a")
        self.build.run(self.build.path, "a")
        launched = self.build.launches(program)
        (self.build.path / "src" / "libcommutil.so").write_text("another library")
        self.build.run(self.build.path, "a")
        self.assertEqual(self.build.launches(program), launched + 7)

    def test_stops_when_its_time_is_over(self):
        self.build.add("a_bench", entries("a/1", ours=1, ours_again=1, peer=1))
        result = self.build.run("--minutes", "-1", self.build.path, "a")
        self.assertIn("Out of time after 0 of 7 launches", result.stderr)

    def test_prints_json(self):
        self.build.add("a_bench", [*entries("a/1KiB", ours=1000, ours_again=1000, peer=4000),
                                   *entries("a/64KiB", ours=90000, ours_again=90000)])
        result = self.build.run("--json", self.build.path, "a")
        found = json.loads(result.stdout)
        self.assertEqual({c["cell"]: c["word"] for c in found["cells"]},
                         {"a/1KiB": "faster", "a/64KiB": "nothing to compare"})
        self.assertEqual(found["growth"], [{"operation": "a", "from": 1024, "to": 65536, "factor": 90,
                                            "limit": "", "limit_factor": None, "beside": None,
                                            "verdict": "over"}])
        self.assertIn("a: 90 times as long for 64 times 1024 bytes", result.stderr)

    def test_growth_is_judged_beside_the_limit(self):
        for bar, ours in (("within", 120000), ("over", 130000)):
            self.build.add("a_bench", [*entries("a/1KiB", ours=1000, limit__copy=10),
                                       *entries("a/64KiB", ours=ours, limit__copy=1000)])
            result = self.build.run("--fresh", self.build.path, "a")
            self.assertRegex(result.stdout, rf"{ours // 1000}.00 +\| 100.00 copy +\| {bar} ")

    def test_growth_up_to_the_limit_is_within(self):
        for bar, ours in (("within", 125000), ("over", 126000)):
            self.build.add("a_bench", [*entries("a/1KiB", ours=1000, limit__copy=10000),
                                       *entries("a/64KiB", ours=ours, limit__copy=100000)])
            result = self.build.run("--fresh", self.build.path, "a")
            self.assertRegex(result.stdout, rf"{ours // 1000}.00 +\| 10.00 copy +\| {bar} ")

    def test_counters_over_their_bar_fail(self):
        found = entries("startup/run_to_exit", ours=10, ours_again=10, ace=9)
        for each in found:
            each["minor_faults"] = 221
        self.build.add("startup_bench", found)
        result = self.build.run(self.build.path, "startup")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("startup/run_to_exit: minor_faults 221 of at most 220", result.stderr)

    def test_two_threads_that_gain_too_little_fail(self):
        def program(two_threads):
            return [*entries("settings_store_scaling/1_threads", ours=40, limit__empty_loop=100),
                    *entries("settings_store_scaling/2_threads", ours=two_threads,
                             limit__empty_loop=50)]
        self.build.add("settings_store_bench", program(22))
        result = self.build.run(self.build.path, "scaling")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertRegex(result.stdout, r"settings_store_scaling \| 0.91 +\| 0.9")
        self.build.add("settings_store_bench", program(23))
        result = self.build.run(self.build.path, "scaling")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("settings_store_scaling: 0.87 of at least 0.9", result.stderr)

    def test_counters_of_several_kinds_have_a_table_each(self):
        for name, counter in (("startup", "minor_faults"), ("settings_fleet", "agent_kib")):
            self.build.add(f"{name}_bench", [{**each, counter: 7} for each in entries(
                f"{name}/x", ours=10, ours_again=10, peer=10)])
        result = self.build.run(self.build.path, ".")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertRegex(result.stdout, r"\| Program +\| minor_faults \|")
        self.assertRegex(result.stdout, r"\| Program +\| agent_kib \|")

    def test_a_failed_benchmark_is_reported(self):
        self.build.add("a_bench", [{**each, "error_occurred": True, "error_message": "lock"}
                                   for each in entries("a/1", ours=1)])
        result = self.build.run(self.build.path, "a")
        self.assertIn("failed or over their bar: a/1", result.stderr)
        self.assertIn("ours: lock", result.stdout)

    def test_says_what_to_do(self):
        result = self.build.run(self.build.path, "a")
        self.assertIn("benches.txt is missing: build with ./dev bench", result.stderr)
        program = self.build.add("a_bench", entries("a/1", ours=1))
        self.assertIn("no benchmark matches 'none'", self.build.run(self.build.path, "none").stderr)
        self.assertIn("'(' is not a regular expression", self.build.run(self.build.path, "(").stderr)
        program.unlink()
        self.assertIn("a_bench is not built: run cmake --build",
                      self.build.run(self.build.path, "a").stderr)


if __name__ == "__main__":
    unittest.main()
