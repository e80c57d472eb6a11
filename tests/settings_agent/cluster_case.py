"""What the tests on a cluster share: a cluster, agents and services that are gone at the end."""

import pathlib
import shutil
import tempfile
import unittest

from agent import PREFIX, SERVERS, Agent
from cluster import PROGRESS, Cluster, stop_on_signal

KEY = PREFIX + 'ListenAllIp'
OTHER = PREFIX + 'SSLVersion'
SILENCE = 2.5 * PROGRESS
# The members write to their disks often: work of others on the disk would slow them down.
MEMORY = '/dev/shm'

stop_on_signal()


class ClusterTest(unittest.TestCase):
    """A cluster of three members with one setting, of which each test may break what it likes."""

    cluster_options = {}

    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix='commutil-cluster-', dir=MEMORY))
        self.addCleanup(shutil.rmtree, self.directory, ignore_errors=True)
        self.cluster = self.new_cluster('cluster', **self.cluster_options)
        self.cluster.put(KEY, 'enable')

    def new_cluster(self, name, **options):
        cluster = Cluster(self.directory / name, SERVERS, **options)
        self.addCleanup(cluster.stop)
        cluster.start()
        return cluster

    def new_agent(self, name='host', cluster=None, start=True, **options):
        agent = Agent(self.directory / name, cluster or self.cluster, **options)
        self.addCleanup(agent.kill)
        if start:
            agent.start()
            agent.wait_watching()
        return agent

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
