#!/usr/bin/env python3
"""A full disk and a directory that cannot be written, and the agent's threads and sockets."""

import os
import subprocess
import sys
import unittest

from agent import STORE_DIRECTORY, wait_value
from cluster import wait_until
from cluster_case import KEY, ClusterTest


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
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
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
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
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

    def test_the_agent_has_one_thread_but_for_the_resolver(self):
        agent = self.new_agent()
        for member in self.cluster.members[:2]:
            member.kill()
        agent.wait_log('no leader')
        names = set()
        for number in range(200):
            names.update(agent.threads())
        self.assertEqual({'commutil-settin'}, names)
        self.assertEqual(1, len(agent.threads()))

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
