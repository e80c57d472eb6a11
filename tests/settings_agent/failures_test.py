#!/usr/bin/env python3
"""What services see, and what the agent says, when a cluster fails: on a real cluster."""

import shutil
import threading
import time
import unittest

from agent import Manager, wait_value
from cluster import wait_until
from cluster_case import KEY, OTHER, SILENCE, ClusterTest, SharedClusterTest


class Members(ClusterTest):
    def put_meanwhile(self, key, value, member):
        """Puts a setting while the test goes on: members that elect a leader let it wait."""
        thread = threading.Thread(target=wait_until, args=('a put', lambda: self.cluster.etcdctl(
            'put', key, value, endpoint=member.url, check=False).returncode == 0))
        self.addCleanup(thread.join)
        thread.start()

    def test_a_killed_member_is_replaced_within_two_seconds(self):
        agent, service = self.new_host()
        watched, others = self.member_of(agent)
        self.cluster.lead(others[0])
        mark = agent.mark()
        begin = time.monotonic()
        watched.kill()
        self.put_meanwhile(KEY, 'disable', others[0])
        agent.wait_log(rf'the watch of {watched.url} ended at revision \d+', mark)
        agent.wait_log(r'resumed at revision \d+', mark, 2)
        self.assertLess(time.monotonic() - begin, 2)
        wait_value(service, KEY, 'disable')

    def test_puts_made_while_no_watch_is_open_arrive(self):
        agent, service = self.new_host()
        agent.stop()
        self.cluster.put(KEY, 'between')
        self.cluster.put(OTHER, 'TLSv1.3')
        agent.start()
        wait_value(service, KEY, 'between')
        self.assertEqual('TLSv1.3', service.value(OTHER))
        self.assertEqual(1, agent.text().count('listed'), 'only at the first start')

    def test_a_member_that_hangs_is_noticed_by_its_silence(self):
        agent, service = self.new_host()
        watched, others = self.member_of(agent)
        self.cluster.lead(others[0])
        mark = agent.mark()
        begin = time.monotonic()
        watched.pause()
        self.addCleanup(watched.resume)
        agent.wait_log(r'ended at revision \d+: silent for \d+ s', mark, SILENCE + 5)
        agent.wait_log(r'resumed at', mark)
        self.assertLess(time.monotonic() - begin, SILENCE + 2)
        self.assertEqual('enable', service.value(KEY))
        self.put_meanwhile(KEY, 'disable', others[0])
        wait_value(service, KEY, 'disable')

    def test_a_lost_quorum_is_noticed_and_new_values_arrive_when_it_is_back(self):
        agent, service = self.new_host()
        _, others = self.member_of(agent)
        mark = agent.mark()
        for member in others:
            member.kill()
        agent.wait_log(r'no leader', mark, 10)
        agent.wait_log(r'error: cluster away, revision \d+, age \d+ s, stays in use', mark, 30)
        self.assertEqual('enable', service.value(KEY))
        mark = agent.mark()
        for member in others:
            member.start()
        self.cluster.wait_healthy()
        self.cluster.put(KEY, 'disable')
        wait_value(service, KEY, 'disable', 15)
        agent.wait_log(r'resumed at revision \d+', mark)

    def test_without_members_the_last_snapshot_is_served(self):
        agent, service = self.new_host()
        away = r'error: cluster away, revision \d+, age \d+ s, stays in use'
        mark = agent.mark()
        self.cluster.stop()
        agent.wait_log(away, mark)
        agent.stop()
        mark = agent.mark()
        agent.start()
        agent.wait_log(away, mark)
        self.assertEqual('enable', service.value(KEY))
        self.assertEqual('enable', self.new_service(agent).value(KEY))

    def test_without_members_and_snapshot_the_defaults_apply(self):
        self.cluster.stop()
        fresh = self.new_agent(start=False)
        fresh.start()
        fresh.wait_log(r'error: cluster away, there are no settings yet')
        service = self.new_service(fresh)
        self.assertEqual(-1, service.result(KEY))
        self.assertEqual('0', service.ask('listen'))
        self.assertEqual('1', service.ask('ssl'))
        self.assertEqual(1, fresh.run('status').returncode)
        self.cluster.start()
        wait_value(service, KEY, 'enable', 15)


class Stores(ClusterTest):
    def test_a_compacted_revision_is_listed(self):
        self.cluster.put(OTHER, 'TLSv1.2')
        agent, service = self.new_host()
        agent.stop()
        self.cluster.put(KEY, 'disable')
        self.cluster.manage('compaction', str(self.cluster.delete(OTHER)))
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'revision \d+ was compacted, listed 1 settings', mark)
        wait_value(service, KEY, 'disable')
        self.assertIsNone(service.value(OTHER))

    def backup(self):
        path = self.directory / 'backup.db'
        self.cluster.etcdctl('snapshot', 'save', str(path), endpoint=self.cluster.members[0].url)
        return path

    def restore(self, backup):
        self.cluster.stop()
        for member in self.cluster.members:
            shutil.rmtree(member.data, ignore_errors=True)
            self.cluster.etcdctl('snapshot', 'restore', str(backup), '--name', member.name,
                                 '--data-dir', str(member.data),
                                 '--initial-cluster', self.cluster.initial_cluster,
                                 '--initial-cluster-token', self.cluster.token,
                                 '--initial-advertise-peer-urls', member.peer_url)
        self.cluster.start()

    def test_a_store_that_went_back_is_listed_again(self):
        agent, service = self.new_host()
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
        agent, service = self.new_host(sections={'agent': {'compare_every': compare_every}})
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
        self.cluster.put(OTHER, 'TLSv1.2')
        agent, service = self.new_host()
        agent.stop()
        other = self.new_cluster('other', members=1, token='other', login=False,
                                 certificates=self.cluster.certificates)
        agent.sections['cluster'].update(endpoints=other.endpoints)
        agent.configure()
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'error: another cluster serves the endpoints, and it has no settings: '
                       r'the 2 settings of revision \d+ stay in use', mark)
        self.assertEqual('enable', service.value(KEY))
        other.put(KEY, 'disable')
        agent.wait_log(r'error: another cluster serves the endpoints; listed 1 settings', mark)
        wait_value(service, KEY, 'disable')
        self.assertIsNone(service.value(OTHER))

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
    # A member that starts again gives out the tokens of the log that follows its last snapshot.
    cluster_options = {'options': ('--auth-token-ttl', '2', '--snapshot-count', '10')}

    def test_an_expired_token_is_replaced(self):
        agent, _ = self.new_host(sections={'agent': {'compare_every': '4s'}})
        mark = agent.mark()
        agent.wait_log(r'logged in on', mark)
        self.assertNotIn('ended', agent.text())
        self.assertNotIn('error', agent.text())

    def test_restarted_members_are_watched_again(self):
        agent, service = self.new_host()
        gateway = self.new_gateway()
        for number in range(40):
            gateway.put(OTHER, str(number))
        mark = agent.mark()
        self.cluster.stop()
        self.cluster.start()
        agent.wait_log(r'logged in on', mark)
        agent.wait_watching(mark)
        self.cluster.put(KEY, 'again')
        wait_value(service, KEY, 'again')

    def test_a_revoked_user_keeps_its_watch_and_is_refused_the_next_one(self):
        agent, service = self.new_host()
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


class Files(SharedClusterTest):
    def test_a_corrupt_snapshot_leaves_the_last_good_one_in_use(self):
        agent, service = self.new_host()
        agent.stop()
        good = agent.snapshot.read_bytes()
        new = agent.snapshot.with_suffix('.test')
        new.write_bytes(good[:-1] + bytes([good[-1] ^ 1]))
        new.rename(agent.snapshot)
        self.assertEqual('enable', service.value(KEY))
        self.assertEqual(-1, self.new_service(agent).result(KEY))
        status = agent.run('status')
        self.assertEqual(1, status.returncode)
        mark = agent.mark()
        agent.start()
        agent.wait_log(r'error: .*settings.snap.*listed again', mark)
        wait_value(self.new_service(agent), KEY, 'enable')

    def test_a_dead_agent_makes_the_status_stale(self):
        agent, service = self.new_host()
        wait_until('fresh', lambda: agent.run('status').returncode == 0)
        agent.kill()
        self.assertEqual('enable', service.value(KEY))
        wait_until('stale', lambda: agent.run('status', '--max-age', '1s').returncode == 1)

    def test_a_snapshot_that_another_process_removes_is_written_again(self):
        agent = self.new_agent()
        wait_value(self.new_service(agent), KEY, 'enable')
        mark = agent.mark()
        agent.snapshot.unlink()
        agent.wait_log(r'error: .*was changed by another process', mark)
        wait_until('the snapshot is back', agent.snapshot.exists)

    def test_what_a_snapshot_cannot_hold_leaves_the_last_one_in_use(self):
        agent, service = self.new_host()
        mark = agent.mark()
        gateway = self.new_gateway()
        gateway.put(OTHER, b'x' * ((1 << 20) + 1))
        self.cluster.put(KEY, 'disable')
        agent.wait_log(r'error: revision \d+ was not written: .*SSLVersion has \d+ bytes'
                       r'.*stays in use', mark)
        self.assertEqual('enable', service.value(KEY))
        self.cluster.delete(OTHER)
        wait_value(service, KEY, 'disable')
        agent.wait_log(r'settings.snap is written again', mark)


class ServiceManagers(ClusterTest):
    def new_manager(self):
        manager = Manager(self.directory / 'notify')
        self.addCleanup(manager.close)
        return manager

    def test_the_agent_is_ready_and_alive_with_an_old_snapshot_and_no_cluster(self):
        agent, _ = self.new_host()
        agent.stop()
        self.cluster.stop()
        manager = self.new_manager()
        mark = agent.mark()
        agent.start(environment=manager.environment)
        wait_until('ready', lambda: 'READY=1' in manager.messages)
        agent.wait_log('error: cluster away, revision', mark)
        manager.wait_alive()
        agent.stop()
        wait_until('the end is told', lambda: manager.messages[-1] == 'STOPPING=1')
        self.assertEqual(1, manager.messages.count('READY=1'))

    def test_without_a_snapshot_the_agent_is_ready_once_it_has_listed(self):
        self.cluster.stop()
        manager = self.new_manager()
        agent = self.new_agent(start=False)
        agent.start(environment=manager.environment)
        agent.wait_log('error: cluster away, there are no settings yet')
        manager.wait_alive()
        self.assertNotIn('READY=1', manager.messages)
        self.cluster.start()
        wait_until('ready', lambda: 'READY=1' in manager.messages)
        self.assertEqual('enable', self.new_service(agent).value(KEY))


if __name__ == '__main__':
    unittest.main()
