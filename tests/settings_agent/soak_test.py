#!/usr/bin/env python3
"""Five hundred agents for twenty minutes while members are restarted one after the other."""

import os
import pathlib
import time
import unittest

from cluster import wait_until
from cluster_case import KEY, ClusterTest
from relays_test import SimulatedHosts

SECONDS = int(os.environ.get('COMMUTIL_SOAK_SECONDS', '1200'))
HOSTS = int(os.environ.get('COMMUTIL_SOAK_HOSTS', '500'))
PLOT = pathlib.Path(os.environ['COMMUTIL_BUILD']) / 'soak-cluster.svg'


def resident(pid):
    """Returns the resident memory of a process in KiB."""
    with open(f'/proc/{pid}/status', encoding='ascii') as file:
        return next(int(line.split()[1]) for line in file if line.startswith('VmRSS'))


def plot(samples, path):
    """Draws the memory of each process over time, as an SVG."""
    width, height = 800, 400
    highest = max(max(values) for _, values in samples)
    colors = ('#0072b2', '#d55e00', '#009e73', '#cc79a7')
    names = ('m1', 'm2', 'm3', 'agents')
    shapes = []
    for index, (name, color) in enumerate(zip(names, colors)):
        points = ' '.join(f'{time / SECONDS * width:.1f},{height - values[index] / highest * height:.1f}'
                          for time, values in samples)
        shapes.append(f'<polyline fill="none" stroke="{color}" points="{points}"/>'
                      f'<text x="10" y="{20 + 18 * index}" fill="{color}">{name}, at the end '
                      f'{samples[-1][1][index] // 1024} MiB</text>')
    path.write_text(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}">'
                    f'{"".join(shapes)}</svg>\n')


class Soak(ClusterTest):
    cluster_options = {'options': ('--auto-compaction-mode', 'periodic',
                                   '--auto-compaction-retention', '2m',
                                   '--snapshot-count', '1000')}

    def memory(self, hosts):
        return [resident(member.process.pid) for member in self.cluster.members] + [
            resident(hosts.process.pid)]

    def test_memory_stays_flat_and_nothing_is_listed_again(self):
        for number in range(200):
            self.cluster.put(f'/vexa/test/{number}', 'x' * 100)
        base = self.new_agent('fleet', start=False)
        base.sections['agent'].update(compare_every='10m')
        base.configure()
        hosts = SimulatedHosts(base, HOSTS)
        self.addCleanup(hosts.kill)
        hosts.wait_revision(self.cluster.put(KEY, 'start'), 240)
        begin = time.monotonic()
        samples = []
        restarts = 0
        while time.monotonic() - begin < SECONDS:
            hosts.wait_revision(self.cluster.put(KEY, str(len(samples))), 60)
            samples.append((time.monotonic() - begin, self.memory(hosts)))
            if len(samples) % 10 == 0:
                member = self.cluster.members[restarts % 3]
                member.kill()
                member.start()
                self.cluster.wait_healthy([member])
                restarts += 1
            wait_until('the next sample', lambda: time.monotonic() - begin >
                       len(samples) * SECONDS / 200, SECONDS)
        plot(samples, PLOT)
        text = (base.directory / 'hosts.log').read_text()
        lists, compactions = text.count(': listed '), text.count('was compacted, listed')
        print(f'{restarts} restarts, {lists} first lists, {compactions} after a compaction; {PLOT}')
        self.assertEqual(HOSTS, lists)
        third = len(samples) // 3
        for index, name in enumerate(('m1', 'm2', 'm3', 'agents')):
            middle = max(values[index] for _, values in samples[third:2 * third])
            end = max(values[index] for _, values in samples[2 * third:])
            self.assertLessEqual(end, 1.1 * middle, f'{name}: {middle} KiB, then {end} KiB')


if __name__ == '__main__':
    unittest.main()
