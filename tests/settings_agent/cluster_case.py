"""What the tests on a cluster share: a cluster, agents and services that are gone at the end."""

import pathlib
import shutil
import tempfile
import unittest

from agent import PREFIX, SERVERS, Agent, Lookups
from cluster import PROGRESS, Cluster, stop_on_signal, wait_until
from gateway import Gateway

KEY = PREFIX + 'ListenAllIp'
OTHER = PREFIX + 'SSLVersion'
SILENCE = 2.5 * PROGRESS
# The members write to their disks often: work of others on the disk would slow them down.
MEMORY = '/dev/shm'

stop_on_signal()


def new_directory(add_cleanup):
    directory = pathlib.Path(tempfile.mkdtemp(prefix='commutil-cluster-', dir=MEMORY))
    add_cleanup(shutil.rmtree, directory, ignore_errors=True)
    return directory


def start_cluster(directory, add_cleanup, **options):
    cluster = Cluster(directory, SERVERS, **options)
    add_cleanup(cluster.stop)
    cluster.start()
    return cluster


class ClusterTest(unittest.TestCase):
    """A cluster of three members with one setting, of which each test may break what it likes."""

    cluster_options = {}
    shared_cluster = None

    def setUp(self):
        self.directory = new_directory(self.addCleanup)
        self.cluster = self.shared_cluster or self.new_cluster('cluster', **self.cluster_options)
        self.cluster.put(KEY, 'enable')

    def new_cluster(self, name, **options):
        return start_cluster(self.directory / name, self.addCleanup, **options)

    def new_agent(self, name='host', cluster=None, start=True, **options):
        agent = Agent(self.directory / name, cluster or self.cluster, **options)
        self.addCleanup(agent.kill)
        if start:
            agent.start()
            agent.wait_watching()
        return agent

    def new_gateway(self):
        gateway = Gateway(self.cluster)
        self.addCleanup(gateway.close)
        return gateway

    def new_host(self, **options):
        """Starts an agent, and two services that see the setting; returns the agent and one of them.

        The other one looks the setting up until the test ends: no lookup may fail.
        """
        agent = self.new_agent(**options)
        self.keep_looking_up(agent)
        service = self.new_service(agent)
        self.assertEqual('enable', service.value(KEY))
        return agent, service

    def keep_looking_up(self, agent, key=KEY):
        lookups = Lookups(agent, key)
        self.addCleanup(self._check_lookups, lookups)
        lookups.__enter__()

    def _check_lookups(self, lookups):
        wait_until('lookups', lambda: lookups.count > 10)
        lookups.__exit__()
        self.assertEqual(0, lookups.failures)

    def new_service(self, agent, **environment):
        service = agent.service(**environment)
        self.addCleanup(service.__exit__)
        return service

    def member_of(self, agent, since=0):
        """Returns the member that the agent watches, and the others."""
        match = agent.wait_log(r'(?s).*(?:watching from|resumed at) revision \d+ on (\S+)', since)
        watched = next(m for m in self.cluster.members if m.url == match.group(1))
        return watched, [m for m in self.cluster.members if m is not watched]

    def snapshot_values(self, agent):
        """Returns the settings of a snapshot as a service sees them, by group."""
        service = self.new_service(agent)
        return service.group(PREFIX)

    def cluster_values(self):
        result = self.cluster.etcdctl('get', '--prefix', '/vexa/', '--print-value-only=false')
        lines = result.stdout.split('\n')[:-1]
        return dict(zip(lines[::2], lines[1::2]))


class SharedClusterTest(ClusterTest):
    """One cluster for all tests of a class, which leave its members as they are."""

    @classmethod
    def setUpClass(cls):
        cls.shared_cluster = start_cluster(new_directory(cls.addClassCleanup) / 'cluster',
                                           cls.addClassCleanup, **cls.cluster_options)

    def setUp(self):
        self.shared_cluster.delete('/vexa', '--prefix')
        super().setUp()
