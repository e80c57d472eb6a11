#!/usr/bin/env python3
"""What services see, and what the agent says, when a cluster fails: on a real cluster."""

import shutil
import time
import unittest

from agent import Lookups, wait_value
from cluster import wait_until
from cluster_case import KEY, OTHER, SILENCE, ClusterTest


class Members(ClusterTest):
    def test_a_killed_member_is_replaced_within_two_seconds(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        with Lookups(agent, KEY) as lookups:
            watched, others = self.member_of(agent)
            mark = agent.mark()
            begin = time.monotonic()
            watched.kill()
            agent.wait_log(r'the watch of \S+ ended at revision \d+', mark)
            agent.wait_log(r'resumed at revision \d+', mark, 2)
            self.assertLess(time.monotonic() - begin, 2)
            self.cluster.etcdctl('put', KEY, 'disable', endpoint=others[0].url)
            wait_value(service, KEY, 'disable', 5)
        self.assertEqual(0, lookups.failures)
        self.assertGreater(lookups.count, 10)

    def test_puts_made_while_no_watch_is_open_arrive(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        agent.stop()
        self.cluster.put(KEY, 'between')
        self.cluster.put(OTHER, 'TLSv1.3')
        agent.start()
        wait_value(service, KEY, 'between')
        self.assertEqual('TLSv1.3', service.value(OTHER))
        self.assertEqual(1, agent.text().count('listed'), 'only at the first start')

    def test_a_member_that_hangs_is_noticed_by_its_silence(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        watched, others = self.member_of(agent)
        mark = agent.mark()
        begin = time.monotonic()
        watched.pause()
        self.addCleanup(watched.resume)
        agent.wait_log(r'ended at revision \d+: silent for \d+ s', mark, SILENCE + 5)
        agent.wait_log(r'resumed at', mark)
        self.assertLess(time.monotonic() - begin, SILENCE + 2)
        self.assertEqual('enable', service.value(KEY))
        wait_until('the others serve', lambda: self.cluster.etcdctl(
            'put', KEY, 'disable', endpoint=others[0].url, check=False).returncode == 0)
        wait_value(service, KEY, 'disable', 5)

    def test_a_lost_quorum_is_noticed_and_new_values_arrive_when_it_is_back(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        watched, others = self.member_of(agent)
        mark = agent.mark()
        for member in others:
            member.kill()
        agent.wait_log(r'no leader', mark, 10)
        agent.wait_log(r'cluster away, revision \d+, age \d+ s, stays in use', mark, 30)
        self.assertEqual('enable', service.value(KEY))
        for member in others:
            member.start()
        self.cluster.wait_healthy()
        mark = agent.mark()
        self.cluster.put(KEY, 'disable')
        wait_value(service, KEY, 'disable', 15)
        self.assertRegex(agent.text(), r'resumed at revision \d+')

    def test_without_members_the_last_snapshot_is_served(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        agent.stop()
        self.cluster.stop()
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'error: cluster away, revision \d+, age \d+ s, stays in use', mark)
        self.assertEqual('enable', service.value(KEY))
        self.assertEqual('enable', self.new_service(agent).value(KEY))
        fresh = self.new_agent('fresh', start=False)
        fresh.start()
        fresh.wait_log(r'error: cluster away, there are no settings yet')
        without = self.new_service(fresh)
        self.assertNotEqual(0, without.result(KEY))
        self.assertEqual('0', without.ask('listen'))
        self.assertEqual('1', without.ask('ssl'))
        self.assertEqual(1, fresh.run('status').returncode)
        self.cluster.start()
        wait_value(without, KEY, 'enable', 15)


class Stores(ClusterTest):
    def test_a_compacted_revision_is_listed(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        agent.stop()
        self.cluster.put(OTHER, 'TLSv1.3')
        revision = self.cluster.delete(KEY)
        self.cluster.manage('compaction', str(revision))
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'revision \d+ was compacted, listed 1 settings', mark)
        wait_value(service, KEY, None)
        self.assertEqual('TLSv1.3', service.value(OTHER))

    def backup(self):
        path = self.directory / 'backup.db'
        self.cluster.etcdctl('snapshot', 'save', str(path), endpoint=self.cluster.members[0].url)
        return path

    def restore(self, backup, cluster=None):
        cluster = cluster or self.cluster
        cluster.stop()
        for member in cluster.members:
            shutil.rmtree(member.data, ignore_errors=True)
            cluster.etcdctl('snapshot', 'restore', str(backup), '--name', member.name,
                            '--data-dir', str(member.data),
                            '--initial-cluster', cluster.initial_cluster,
                            '--initial-cluster-token', cluster.token,
                            '--initial-advertise-peer-urls', member.peer_url)
        cluster.start()

    def test_a_store_that_went_back_is_listed_again(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        backup = self.backup()
        for number in range(20):
            self.cluster.put(OTHER, str(number))
        wait_value(service, OTHER, '19')
        mark = agent.mark()
        self.restore(backup)
        agent.wait_log(r'error: store went back from \d+ to \d+; listed 1 settings', mark, 60)
        wait_value(service, OTHER, None)
        self.assertEqual('enable', service.value(KEY))

    def overtaken(self, compare_every):
        """Restores a store from before `OTHER` and lets it overtake what the agent has applied."""
        agent = self.new_agent(sections={'agent': {'compare_every': compare_every}})
        service = self.new_service(agent)
        backup = self.backup()
        self.cluster.put(OTHER, 'ghost')
        wait_value(service, OTHER, 'ghost')
        agent.stop()
        self.restore(backup)
        for number in range(10):
            self.cluster.put(KEY, str(number))
        mark = agent.mark()
        agent.start()
        wait_value(service, KEY, '9')
        return agent, service, mark

    def test_a_store_that_was_restored_and_overtaken_is_corrected_by_the_comparison(self):
        agent, service, mark = self.overtaken('1s')
        agent.wait_log(r'error: count or newest differ at revision \d+', mark)
        wait_value(service, OTHER, None)

    def test_without_comparisons_the_ghost_of_a_restored_store_stays(self):
        agent, service, mark = self.overtaken('0')
        self.cluster.put(KEY, 'last')
        wait_value(service, KEY, 'last')
        self.assertEqual('ghost', service.value(OTHER))
        self.assertNotIn('differ', agent.text()[mark:])

    def test_another_cluster_is_adopted_unless_it_is_empty(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        agent.stop()
        empty = self.new_cluster('empty', members=1, token='other', login=False,
                                 certificates=self.cluster.certificates)
        agent.sections['cluster'].update(endpoints=empty.endpoints)
        agent.configure()
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'error: another cluster serves the endpoints, and it has no settings: '
                       r'the 1 settings of revision \d+ stay in use', mark)
        self.assertEqual('enable', service.value(KEY))
        empty.put(OTHER, 'TLSv1.2')
        agent.wait_log(r'error: another cluster serves the endpoints; listed 1 settings', mark)
        wait_value(service, KEY, None)
        self.assertEqual('TLSv1.2', service.value(OTHER))

    def test_an_empty_list_replaces_settings_only_on_request(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        agent.stop()
        self.cluster.manage('compaction', str(self.cluster.delete(KEY)))
        result = agent.run('sync', '--once')
        self.assertEqual(1, result.returncode)
        self.assertRegex(result.stderr, 'the cluster has no settings: the 1 settings')
        self.assertEqual('enable', service.value(KEY))
        self.assertEqual(0, agent.run('sync', '--once', '--allow-empty').returncode)
        wait_value(service, KEY, None)

    def test_a_deletion_that_is_watched_may_remove_the_last_setting(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        self.cluster.delete(KEY)
        wait_value(service, KEY, None)


class Logins(ClusterTest):
    cluster_options = {'options': ('--auth-token-ttl', '2')}

    def test_an_expired_token_is_replaced(self):
        agent = self.new_agent(sections={'agent': {'compare_every': '4s'}})
        mark = agent.mark()
        agent.wait_log(r'logged in on', mark)
        self.assertNotIn('ended', agent.text())
        self.assertNotIn('error', agent.text())

    def test_restarted_members_are_watched_again(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        mark = agent.mark()
        self.cluster.stop()
        self.cluster.start()
        agent.wait_watching(mark)
        self.cluster.put(KEY, 'again')
        wait_value(service, KEY, 'again')

    def test_a_revoked_user_keeps_its_watch_and_is_refused_the_next_one(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        self.cluster.manage('user', 'revoke-role', 'settings-reader', 'settings-reader')
        self.cluster.put(KEY, 'while watched')
        wait_value(service, KEY, 'while watched')
        watched, _ = self.member_of(agent)
        mark = agent.mark()
        watched.kill()
        agent.wait_log(r'error: \S+ etcdserver: permission denied; grant the user', mark)
        self.assertEqual('while watched', service.value(KEY))
        self.cluster.manage('user', 'grant-role', 'settings-reader', 'settings-reader')
        agent.wait_watching(mark, 20)


class Files(ClusterTest):
    def test_a_corrupt_snapshot_leaves_the_last_good_one_in_use(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        agent.stop()
        good = agent.snapshot.read_bytes()
        new = agent.snapshot.with_suffix('.test')
        new.write_bytes(good[:-1] + bytes([good[-1] ^ 1]))
        new.rename(agent.snapshot)
        self.assertEqual('enable', service.value(KEY))
        self.assertNotEqual(0, self.new_service(agent).result(KEY))
        status = agent.run('status')
        self.assertEqual(1, status.returncode)
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'error: .*settings.snap.*listed again', mark)
        wait_value(self.new_service(agent), KEY, 'enable')

    def test_a_dead_agent_makes_the_status_stale(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        wait_until('fresh', lambda: agent.run('status').returncode == 0)
        agent.kill()
        self.assertEqual('enable', service.value(KEY))
        wait_until('stale', lambda: agent.run('status', '--max-age', '1s').returncode == 1)

    def test_a_snapshot_that_another_process_removes_is_written_again(self):
        agent = self.new_agent()
        service = self.new_service(agent)
        wait_value(service, KEY, 'enable')
        mark = agent.mark()
        agent.snapshot.unlink()
        agent.wait_log(r'error: .*was changed by another process', mark)
        wait_until('the snapshot is back', agent.snapshot.exists)


if __name__ == '__main__':
    unittest.main()
