#!/usr/bin/env python3
"""No update is lost, and none is seen by halves, whatever happens to the members."""

import os
import random
import threading
import time
import unittest

from agent import Lookups, wait_value
from cluster import wait_until
from cluster_case import KEY, ClusterTest
from gateway import encode

KILLS = int(os.environ.get('COMMUTIL_KILLS', '1000'))
CHANGES = int(os.environ.get('COMMUTIL_CHANGES', '10000'))
GROUP = '/vexa/test/pair/'


class Chaos:
    """Kills, stops and continues members at random until its end."""

    def __init__(self, cluster, random_numbers):
        self.cluster, self._random = cluster, random_numbers
        self.done = []
        self._ends = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def _run(self):
        while not self._ends.wait(self._random.uniform(0.5, 2)):
            members = self._random.sample(self.cluster.members, self._random.choice((1, 1, 1, 2)))
            what = self._random.choice(('kill', 'pause'))
            self.done.append((what, len(members)))
            for member in members:
                getattr(member, what)()
            self._ends.wait(self._random.uniform(0.5, 4))
            for member in members:
                member.start() if what == 'kill' else member.resume()

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._ends.set()
        self._thread.join()


class Updates(ClusterTest):
    def change(self, gateway, number, random_numbers):
        kind = random_numbers.choice(('put', 'delete', 'pair'))
        key = f'/vexa/test/key{random_numbers.randrange(200):03}'
        if kind == 'put':
            return gateway.call('/v3/kv/put', {'key': encode(key), 'value': encode(str(number))})
        if kind == 'delete':
            return gateway.call('/v3/kv/deleterange', {'key': encode(key)})
        # Only ever upwards: a transaction that was thought lost may be carried out late.
        value = encode(f'{number:09}')
        return gateway.call('/v3/kv/txn', {
            'compare': [{'key': encode(GROUP + 'a'), 'target': 'VALUE', 'result': 'LESS',
                         'value': value}],
            'success': [{'request_put': {'key': encode(GROUP + name), 'value': value}}
                        for name in ('a', 'b')]})

    def make_changes(self, random_numbers):
        gateway = self.new_gateway()
        unknown = 0
        number = 0
        while number < CHANGES:
            number += 1
            while self.change(gateway, number, random_numbers) is None:
                unknown += 1
                time.sleep(0.1)
                number += 1
        return unknown

    def test_no_update_is_lost_while_members_are_killed_and_stopped(self):
        seed = random.SystemRandom().randrange(2**32)
        print(f'seed {seed}, {CHANGES} changes')
        random_numbers = random.Random(seed)
        for name in ('a', 'b'):
            self.cluster.put(GROUP + name, f'{0:09}')
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, GROUP + 'b', f'{0:09}')
        watcher = self.new_service(agent)
        watcher.send(f'watch {GROUP} a b')
        with Lookups(agent, KEY) as lookups:
            with Chaos(self.cluster, random.Random(seed + 1)) as chaos:
                unknown = self.make_changes(random_numbers)
            self.cluster.wait_healthy()
            revision = self.cluster.put('/vexa/test/last', 'last')
            agent_sees = wait_value(service, '/vexa/test/last', 'last', 30)
        watcher.send('')
        seen, failures, falls, halves = map(int, watcher.receive().split())
        print(f'{len(chaos.done)} faults, {unknown} requests of unknown outcome, {seen} lookups of '
              f'the pair, revision {revision}, last change seen after {agent_sees:.2f} s')
        self.assertEqual((0, 0, 0), (failures, falls, halves))
        self.assertGreater(seen, 100)
        self.assertEqual(0, lookups.failures)
        expected = self.cluster_values()
        found = {GROUP + name: value for name, value in service.group(GROUP).items()}
        found.update({'/vexa/test/' + name: value
                      for name, value in service.group('/vexa/test/').items()})
        found[KEY] = service.value(KEY)
        self.assertEqual(expected, found)
        self.assertEqual(0, agent.run('diff').returncode)


class Kills(ClusterTest):
    def test_an_agent_that_is_killed_at_any_moment_leaves_a_whole_snapshot(self):
        seed = random.SystemRandom().randrange(2**32)
        print(f'seed {seed}, {KILLS} kills')
        random_numbers = random.Random(seed)
        gateway = self.new_gateway()
        agent, service = self.new_host(sections={'snapshot': {'settle': '0'}})
        seen = 0
        written = 0
        for number in range(1, KILLS + 1):
            gateway.put(KEY, str(number))
            time.sleep(random_numbers.uniform(0, 0.1))
            agent.kill()
            value = self.new_value(agent)
            self.assertGreaterEqual(value, seen)
            written += value == number
            seen = value
            agent.start()
        print(f'{written} kills after the write')
        self.assertTrue(0 < written < KILLS, written)
        wait_value(service, KEY, str(KILLS))
        self.assertEqual(0, agent.run('diff').returncode)

    @staticmethod
    def new_value(agent):
        """Returns what a new service reads: as a number, 0 at the beginning."""
        with agent.service() as service:
            value = service.value(KEY)
        return 0 if value == 'enable' else int(value)


if __name__ == '__main__':
    unittest.main()
