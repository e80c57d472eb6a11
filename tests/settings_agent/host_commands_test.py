#!/usr/bin/env python3
"""The operator's commands that need no cluster, as they are typed at a terminal."""

import os
import pathlib
import pty
import subprocess
import tempfile
import unittest

from agent import PROGRAM

SHA256 = 'ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad'


class HostCommands(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.configuration = self.directory / 'settings.conf'
        self.configuration.write_text('[cluster]\nendpoints = https://127.0.0.1:1\n'
                                      f'[publish]\ndirectory = {self.directory}\n')
        self.pointer = self.directory / 'current'
        self.pointer.write_text(f'5 2 {SHA256}\n')

    def raise_epoch(self, answer, *words):
        """Runs raise-epoch at a terminal on which `answer` is typed; None: standard input is a file."""
        line = [PROGRAM, 'raise-epoch', '--config', str(self.configuration), *words]
        if answer is None:
            return subprocess.run(line, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                  check=False)
        typed, terminal = pty.openpty()
        try:
            os.write(typed, answer.encode())
            return subprocess.run(line, stdin=terminal, capture_output=True, text=True, check=False)
        finally:
            os.close(typed)
            os.close(terminal)

    def test_the_epoch_is_raised_after_a_question(self):
        for answer in ('y\n', 'yes\n'):
            before = int(self.pointer.read_text().split()[1])
            result = self.raise_epoch(answer)
            self.assertEqual((0, f'epoch {before + 1}\n'), (result.returncode, result.stdout))
            self.assertIn('will take a lower revision', result.stderr)
            self.assertEqual(f'5 {before + 1} {SHA256}\n', self.pointer.read_text())

    def test_any_other_answer_leaves_the_epoch(self):
        for answer in ('n\n', '\n', 'Y es\n', '\x04'):
            result = self.raise_epoch(answer)
            self.assertEqual(1, result.returncode)
            self.assertIn('the epoch was not raised', result.stderr)
        self.assertEqual(f'5 2 {SHA256}\n', self.pointer.read_text())

    def test_nobody_is_asked_with_the_option_or_without_a_terminal(self):
        result = self.raise_epoch(None)
        self.assertEqual(1, result.returncode)
        self.assertIn('use --yes', result.stderr)
        result = self.raise_epoch(None, '--yes')
        self.assertEqual((0, 'epoch 3\n', ''), (result.returncode, result.stdout, result.stderr))

    def test_a_host_that_is_not_a_relay_has_no_epoch(self):
        self.configuration.write_text('[cluster]\nendpoints = https://127.0.0.1:1\n')
        result = self.raise_epoch(None, '--yes')
        self.assertEqual(1, result.returncode)
        self.assertIn('the configuration has no [publish] directory', result.stderr)


if __name__ == '__main__':
    unittest.main()
