#!/usr/bin/env python3
"""A full disk and a directory that cannot be written, and the agent's threads and sockets."""

import os
import subprocess
import sys
import unittest

from agent import BUILD, STORE_DIRECTORY, wait_value
from cluster import wait_until
from cluster_case import KEY, ClusterTest

THREAD_STARTERS = str(BUILD / 'tests/settings_agent/libcommutil_thread_starters.so')


class Disks(ClusterTest):
    def mount(self, options):
        """Mounts a small file system for an agent's files, in this process's own namespace."""
        state = self.directory / 'host/state'
        state.mkdir(parents=True)
        subprocess.run(['mount', '-t', 'tmpfs', '-o', options, 'tmpfs', str(state)], check=True)
        self.addCleanup(subprocess.run, ['umount', '-l', str(state)], check=False)
        return state

    def test_a_full_disk_leaves_the_last_snapshot_in_use(self):
        state = self.mount('size=64k')
        agent, service = self.new_host()
        filler = state / 'filler'
        with open(filler, 'wb', buffering=0) as file, self.assertRaises(OSError):
            while True:
                file.write(b'x' * 4096)
        mark = agent.mark()
        self.cluster.put(KEY, 'x' * 10000)
        agent.wait_log(r'error: revision \d+ was not written: .*No space left.*stays in use', mark)
        self.assertEqual('enable', service.value(KEY))
        self.assertEqual('enable', self.new_service(agent).value(KEY))
        wait_until('stale', lambda: agent.run('status', '--max-age', '1s').returncode == 1)
        self.assertEqual(1, agent.text()[mark:].count('was not written'))
        filler.unlink()
        wait_value(service, KEY, 'x' * 10000)
        agent.wait_log('is written again', mark)

    def test_a_file_system_that_becomes_read_only_leaves_the_last_snapshot_in_use(self):
        state = self.mount('size=1m')
        agent, service = self.new_host()
        mark = agent.mark()
        # Bound read-only: the agent's lock is open for writing.
        subprocess.run(['mount', '--bind', str(state), str(state)], check=True)
        self.addCleanup(subprocess.run, ['umount', '-l', str(state)], check=False)
        subprocess.run(['mount', '-o', 'remount,bind,ro', str(state)], check=True)
        self.cluster.put(KEY, 'disable')
        agent.wait_log(r'error: revision \d+ was not written: .*Read-only.*stays in use', mark)
        self.assertEqual('enable', service.value(KEY))
        subprocess.run(['mount', '-o', 'remount,bind,rw', str(state)], check=True)
        wait_value(service, KEY, 'disable')

    def test_only_the_resolver_of_the_http_library_starts_threads(self):
        hosts = self.directory / 'hosts'
        hosts.write_text('127.0.0.1 localhost member\n')
        subprocess.run(['mount', '--bind', str(hosts), '/etc/hosts'], check=True)
        self.addCleanup(subprocess.run, ['umount', '-l', '/etc/hosts'], check=False)
        starters = self.directory / 'starters'
        agent = self.new_agent(start=False)
        agent.sections['cluster']['endpoints'] = self.cluster.endpoints.replace('127.0.0.1', 'member')
        agent.configure()
        agent.start(environment={'LD_PRELOAD': THREAD_STARTERS, 'THREAD_STARTERS': str(starters)})
        agent.wait_watching()
        match = agent.wait_log(r'watching from revision \d+ on https://member:(\d+)')
        mark = agent.mark()
        next(m for m in self.cluster.members if str(m.client_port) == match.group(1)).kill()
        agent.wait_log('resumed at', mark)
        lines = starters.read_text().splitlines()
        self.assertGreater(len(lines), 1, 'the members have names')
        for line in lines:
            self.assertIn('/libcurl.so', line)
        wait_until('its own thread is left', lambda: len(agent.threads()) == 1)

    def test_the_store_library_needs_no_http_client(self):
        needed = subprocess.run(['readelf', '-d', f'{STORE_DIRECTORY}/libsettingrest.so'],
                                capture_output=True, text=True, check=True).stdout
        self.assertIn('NEEDED', needed)
        for library in ('curl', 'ssl', 'crypto'):
            self.assertNotIn(library, needed)


def main():
    if os.environ.get('COMMUTIL_NAMESPACE') != '1':
        user = [] if os.getuid() == 0 else ['--map-root-user']
        os.execvpe('unshare', ['unshare', *user, '--mount', sys.executable, *sys.argv],
                   dict(os.environ, COMMUTIL_NAMESPACE='1'))
    unittest.main()


if __name__ == '__main__':
    main()
