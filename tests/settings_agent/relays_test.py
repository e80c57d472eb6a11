#!/usr/bin/env python3
"""Hosts that follow relays, which nginx publishes over mutual TLS."""

import pathlib
import resource
import shutil
import subprocess
import threading
import time
import unittest

from agent import BUILD, SERVERS, Agent, wait_value
from cluster import free_ports, wait_until
from cluster_case import KEY, OTHER, ClusterTest

# A connection and a lock for each host.
FILES = 16384
HOSTS = str(BUILD / 'tests/settings_agent/commutil_simulated_hosts')
NGINX_CONFIGURATION = pathlib.Path(__file__).resolve().parents[2] / 'examples/fleet/relay.conf'
POLL = 1.0
SPREAD = 1.0
INTERVALS = {'poll': f'{int(POLL * 1000)}ms', 'spread': f'{int(SPREAD * 1000)}ms'}


class Nginx:
    """Publishes a directory, with the configuration that operators are shown."""

    def __init__(self, directory, published, certificates):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True)
        self.port = free_ports(1)[0]
        site = NGINX_CONFIGURATION.read_text()
        for old, new in (('listen 443 ssl', f'listen 127.0.0.1:{self.port} ssl'),
                         ('/etc/commutil/relay.pem', certificates.server),
                         ('/etc/commutil/relay.key', certificates.server_key),
                         ('/etc/commutil/ca.pem', certificates.ca),
                         ('/srv/commutil', str(published))):
            assert old in site, old
            site = site.replace(old, new)
        (self.directory / 'site.conf').write_text(site)
        paths = ''.join(f'{name}_temp_path {self.directory}/{name};\n' for name in
                        ('client_body', 'proxy', 'fastcgi', 'uwsgi', 'scgi'))
        (self.directory / 'nginx.conf').write_text(
            f'daemon off;\nmaster_process off;\npid {self.directory}/pid;\n'
            f'error_log {self.directory}/error.log;\n'
            f'events {{ worker_connections 4096; }}\n'
            f'http {{\naccess_log off;\n{paths}include {self.directory}/site.conf;\n}}\n')
        self.process = None

    @property
    def url(self):
        return f'https://127.0.0.1:{self.port}/'

    def start(self):
        self.process = subprocess.Popen(
            [str(SERVERS / 'root/usr/sbin/nginx'), '-p', str(self.directory), '-c', 'nginx.conf',
             '-e', str(self.directory / 'error.log')],
            cwd=self.directory, stderr=subprocess.DEVNULL)

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait()
            self.process = None


class SimulatedHosts:
    """Many hosts in one process, and how far they are."""

    def __init__(self, agent, count):
        self.state = (0, 0, 0)
        directory = agent.directory / 'hosts'
        self._log = open(agent.directory / 'hosts.log', 'wb')
        self.process = subprocess.Popen(
            [HOSTS, str(agent.configuration), str(directory), str(count)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self._log, text=True)
        self._thread = threading.Thread(target=self._read)
        self._thread.start()

    def _read(self):
        for line in self.process.stdout:
            self.state = tuple(map(int, line.split()))

    def wait_revision(self, revision, seconds):
        wait_until(f'every host is at revision {revision}; now {self.state}',
                   lambda: self.state[0] >= revision, seconds)

    def kill(self):
        self.process.kill()
        self._thread.join()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()
        self._log.close()


class RelayTest(ClusterTest):
    @classmethod
    def setUpClass(cls):
        _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(FILES, hard), hard))

    def new_relay(self, name, **options):
        """Starts an agent that publishes, and nginx; returns both."""
        published = self.directory / name / 'published'
        published.mkdir(parents=True)
        agent = self.new_agent(name, sections={'publish': {'directory': published}}, **options)
        agent.published = published
        nginx = Nginx(self.directory / name / 'nginx', published, self.cluster.certificates)
        self.addCleanup(nginx.kill)
        nginx.start()
        wait_until('a pointer', (published / 'current').exists)
        return agent, nginx

    def new_host(self, name, *relays, start=True):
        host = Agent(self.directory / name, relays=','.join(relay.url for relay in relays),
                     certificates=self.cluster.certificates, sections={'agent': INTERVALS})
        self.addCleanup(host.kill)
        if start:
            host.start()
        return host


class Relays(RelayTest):
    def test_a_host_follows_a_relay_and_another_one_when_it_is_gone(self):
        _, first = self.new_relay('relay1')
        _, second = self.new_relay('relay2')
        host = self.new_host('host', first, second)
        host.wait_log(r'took revision \d+ with 1 settings')
        service = self.new_service(host)
        wait_value(service, KEY, 'enable')
        self.cluster.put(OTHER, 'TLSv1.3')
        self.assertLess(wait_value(service, OTHER, 'TLSv1.3'), 1.2 * POLL + SPREAD + 5)
        first.kill()
        self.cluster.put(KEY, 'disable')
        wait_value(service, KEY, 'disable', 20)
        self.assertEqual(0, host.run('status').returncode)
        mark = host.mark()
        second.kill()
        host.wait_log(r'error: relays away, revision \d+, age \d+ s, stays in use', mark)
        self.assertEqual('disable', service.value(KEY))
        self.assertEqual(1, host.run('sync', '--once').returncode, 'another agent runs')

    def test_a_host_needs_a_certificate(self):
        _, nginx = self.new_relay('relay')
        host = self.new_host('host', nginx, start=False)
        for key in ('cert', 'key'):
            del host.sections['relay'][key]
        host.configure()
        host.start()
        host.wait_log(r'relays away, there are no settings yet.*HTTP status 400')

    def test_a_lower_revision_is_taken_only_after_the_epoch_was_raised(self):
        relay, nginx = self.new_relay('relay')
        host = self.new_host('host', nginx)
        service = self.new_service(host)
        wait_value(service, KEY, 'enable')
        for number in range(5):
            self.cluster.put(OTHER, str(number))
        wait_value(service, OTHER, '4')
        # The store is lost, and set up anew with an older content: the same cluster to the agents.
        self.cluster.stop()
        for member in self.cluster.members:
            shutil.rmtree(member.data)
        self.cluster._has_login = False
        self.cluster.start()
        self.cluster.put(KEY, 'restored')
        relay.wait_log(r'error: store went back from \d+ to \d+', seconds=60)
        host.wait_log(r'error: refused: revision \d+, epoch 0, .* is older than revision')
        self.assertEqual('4', service.value(OTHER))
        self.assertEqual(1, relay.run('raise-epoch').returncode)
        result = relay.run('raise-epoch', '--yes')
        self.assertEqual((0, 'epoch 1\n'), (result.returncode, result.stdout))
        wait_value(service, KEY, 'restored')
        self.assertIsNone(service.value(OTHER))

    def test_a_tampered_snapshot_is_refused(self):
        relay, nginx = self.new_relay('relay')
        host = self.new_host('host', nginx)
        service = self.new_service(host)
        wait_value(service, KEY, 'enable')
        relay.kill()
        host.stop()
        host.snapshot.unlink()
        for file in relay.published.glob('settings-*.snap'):
            content = file.read_bytes()
            file.write_bytes(content.replace(b'enable', b'enabel'))
        mark = host.mark()
        host.start()
        host.wait_log(r'relays away, there are no settings yet', mark)
        self.assertFalse(host.snapshot.exists())


class Fleet(RelayTest):
    def test_a_thousand_hosts_follow_two_relays(self):
        _, first = self.new_relay('relay1')
        second_agent, second = self.new_relay('relay2')
        base = self.new_host('fleet', first, second, start=False)
        hosts = SimulatedHosts(base, 1000)
        self.addCleanup(hosts.kill)
        revision = self.cluster.put(KEY, 'first')
        hosts.wait_revision(revision, 120)
        limit = 1.2 * POLL + SPREAD + 5
        for number in range(3):
            revision = self.cluster.put(KEY, str(number))
            wait_until('the relays have it', lambda: all(
                (self.directory / name / 'published' / f'settings-{revision}.snap').exists()
                for name in ('relay1', 'relay2')))
            begin = time.monotonic()
            hosts.wait_revision(revision, limit)
            print(f'1000 hosts after {time.monotonic() - begin:.1f} s, at most {limit} s')
        first.kill()
        revision = self.cluster.put(KEY, 'last')
        hosts.wait_revision(revision, 60)


if __name__ == '__main__':
    unittest.main()
