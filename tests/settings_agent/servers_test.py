#!/usr/bin/env python3
"""Fetching the servers leaves the machine as it is."""

import os
import pathlib
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / 'cmake/dev/fetch-servers'
PACKAGES = ('etcd-server', 'etcd-client', 'nginx')


def machine():
    """Returns what an installed server would change."""
    state = {}
    for path in ('/etc/passwd', '/etc/group', '/etc/shadow'):
        with open(path, 'rb') as file:
            state[path] = file.read()
    for directory in ('/lib/systemd/system', '/etc/systemd/system', '/etc/init.d'):
        state[directory] = sorted(os.listdir(directory)) if os.path.isdir(directory) else []
    for package in PACKAGES:
        result = subprocess.run(['dpkg-query', '-W', '-f', '${db:Status-Status}', package],
                                capture_output=True, text=True, check=False)
        state[package] = result.stdout
    return state


class Servers(unittest.TestCase):
    def test_no_service_and_no_system_user_is_added(self):
        before = machine()
        with tempfile.TemporaryDirectory() as directory:
            subprocess.run([SCRIPT, directory], check=True)
            root = pathlib.Path(directory) / 'root'
            for program in ('usr/bin/etcd', 'usr/bin/etcdctl', 'usr/sbin/nginx'):
                self.assertTrue(os.access(root / program, os.X_OK), program)
            self.assertEqual(before, machine())
            # A second fetch finds everything there.
            stamp = (root / 'usr/bin/etcd').stat().st_ino
            subprocess.run([SCRIPT, directory], check=True)
            self.assertEqual(stamp, (root / 'usr/bin/etcd').stat().st_ino)

    def test_a_fetch_that_fails_is_an_error(self):
        with tempfile.TemporaryDirectory() as directory:
            tools = pathlib.Path(directory) / 'tools'
            tools.mkdir()
            (tools / 'apt-get').write_text('#!/bin/sh\necho no network >&2\nexit 100\n')
            (tools / 'apt-get').chmod(0o755)
            environment = dict(os.environ, PATH=f'{tools}:{os.environ["PATH"]}')
            result = subprocess.run([SCRIPT, directory], capture_output=True, text=True,
                                    env=environment, check=False)
            self.assertEqual(1, result.returncode)
            self.assertRegex(result.stderr, 'FAILED: cannot fetch .*etcd-server.*: no network')
            self.assertFalse((pathlib.Path(directory) / 'packages').exists())


if __name__ == '__main__':
    unittest.main()
