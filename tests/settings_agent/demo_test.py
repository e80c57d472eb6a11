#!/usr/bin/env python3
"""Runs the demonstration of a fleet and checks what it prints."""

import pathlib
import re
import subprocess
import unittest

from agent import BUILD, SERVERS

DEMO = pathlib.Path(__file__).resolve().parents[2] / 'examples/fleet/demo'


class Demo(unittest.TestCase):
    def test_both_services_see_every_change_and_nothing_is_reported_about_them(self):
        result = subprocess.run([DEMO, BUILD, SERVERS], capture_output=True, text=True, check=False,
                                timeout=120)
        self.assertEqual((0, ''), (result.returncode, result.stderr), result.stdout)
        seen = [re.findall(rf'^    service of {name}: (.*)$', result.stdout, re.MULTILINE)
                for name in ('a', 'b')]
        one, all_of_them = 'listens on one address', 'listens on all addresses'
        self.assertEqual([[one, all_of_them, one]] * 2, seen)
        self.assertRegex(result.stdout, r'(?m)^    commutil-settings: resumed at revision \d+ on ')


if __name__ == '__main__':
    unittest.main()
