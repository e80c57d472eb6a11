#!/usr/bin/env python3
"""Five hundred agents for twenty minutes while members are restarted one after the other."""

import os
import pathlib
import subprocess
import time
import unittest

from cluster import wait_until
from cluster_case import KEY, ClusterTest
from relays_test import SimulatedHosts

SECONDS = int(os.environ.get('COMMUTIL_SOAK_SECONDS', '1200'))
HOSTS = int(os.environ.get('COMMUTIL_SOAK_HOSTS', '500'))
NAMES = ('m1', 'm2', 'm3', 'agents')
PLOT = pathlib.Path(os.environ['COMMUTIL_BUILD']) / 'soak-cluster.svg'


def resident(pid):
    """Returns the resident memory of a process in KiB."""
    with open(f'/proc/{pid}/status', encoding='ascii') as file:
        return next(int(line.split()[1]) for line in file if line.startswith('VmRSS'))


def plot(samples, path):
    """Draws the memory of each process over time; the samples stay beside the drawing."""
    table = path.with_suffix('.txt')
    table.write_text('seconds ' + ' '.join(NAMES) + '\n' + ''.join(
        f'{seconds:.1f} {" ".join(map(str, values))}\n' for seconds, values in samples))
    subprocess.run(['gnuplot'], check=True, text=True, input=f'''
set terminal svg size 900,450
set output "{path}"
set xlabel "minutes"
set ylabel "resident memory in MiB"
set yrange [0:*]
set key autotitle columnheader
plot for [i=2:{len(NAMES) + 1}] "{table}" using ($1/60):(column(i)/1024) with lines
''')


class Soak(ClusterTest):
    cluster_options = {'options': ('--auto-compaction-mode', 'periodic',
                                   '--auto-compaction-retention', '2m',
                                   '--snapshot-count', '1000')}

    def memory(self, hosts):
        return [resident(member.process.pid) for member in self.cluster.members] + [
            resident(hosts.process.pid)]

    def test_memory_stays_flat_and_nothing_is_listed_again(self):
        self.new_gateway().put_all({f'/vexa/test/{number}': 'x' * 100 for number in range(200)})
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
        self.assertEqual(lists + compactions, text.count('listed '))
        third = len(samples) // 3
        for index, name in enumerate(NAMES):
            middle = max(values[index] for _, values in samples[third:2 * third])
            end = max(values[index] for _, values in samples[2 * third:])
            self.assertLessEqual(end, 1.1 * middle, f'{name}: {middle} KiB, then {end} KiB')


if __name__ == '__main__':
    unittest.main()
