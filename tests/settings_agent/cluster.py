"""A cluster of etcd members on loopback, with TLS and login, in a directory of its own."""

import contextlib
import json
import os
import pathlib
import random
import signal
import socket
import subprocess
import time

ROOT_PASSWORD = 'root-secret'
READER_PASSWORD = 'reader-secret'
PROGRESS = 1.0  # seconds between two progress messages of a member


def wait_until(what, condition, seconds=30.0):
    """Waits for `condition()` and returns what it returned; fails after `seconds`."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f'not within {seconds} s: {what}')
        time.sleep(0.005)


def free_ports(count):
    """Returns ports that are free at this moment, below those that the kernel hands out."""
    ports = []
    with contextlib.ExitStack() as stack:
        while len(ports) < count:
            port = random.SystemRandom().randrange(10000, 32000)
            probe = stack.enter_context(socket.socket())
            with contextlib.suppress(OSError):
                probe.bind(('127.0.0.1', port))
                ports.append(port)
    return ports


class Certificates:
    """A certificate authority, a server's certificate with both usages, a host's without a CN."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True)
        self.ca, self.ca_key = self._path('ca.pem'), self._path('ca.key')
        self._openssl('req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256',
                      '-nodes', '-days', '30', '-subj', '/O=Example/CN=Settings CA',
                      '-keyout', self.ca_key, '-out', self.ca)
        self.server, self.server_key = self.issue('server', '/O=Example/CN=member',
                                                  'serverAuth,clientAuth')
        self.host, self.host_key = self.issue('host', '/O=Example', 'clientAuth')

    def _path(self, name):
        return str(self.directory / name)

    def _openssl(self, *words):
        subprocess.run(['openssl', *words], check=True, capture_output=True)

    def issue(self, name, subject, usage):
        """Issues a certificate; returns the paths of it and of its key."""
        request, extensions = self._path(name + '.csr'), self._path(name + '.ext')
        certificate, key = self._path(name + '.pem'), self._path(name + '.key')
        pathlib.Path(extensions).write_text(
            f'extendedKeyUsage={usage}\nsubjectAltName=IP:127.0.0.1,DNS:localhost,DNS:member\n')
        self._openssl('req', '-new', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256',
                      '-nodes', '-subj', subject, '-keyout', key, '-out', request)
        self._openssl('x509', '-req', '-in', request, '-CA', self.ca, '-CAkey', self.ca_key,
                      '-CAcreateserial', '-days', '30', '-extfile', extensions, '-out', certificate)
        os.chmod(key, 0o600)
        return certificate, key


class Member:
    """One member: its process, and the ports that it keeps when it is started again."""

    def __init__(self, cluster, name):
        self.cluster, self.name = cluster, name
        self.client_port, self.peer_port = free_ports(2)
        self.process = None
        self.data = cluster.directory / name

    @property
    def url(self):
        return f'{self.cluster.scheme}://127.0.0.1:{self.client_port}'

    @property
    def peer_url(self):
        return f'http://127.0.0.1:{self.peer_port}'

    def start(self):
        words = [self.cluster.etcd, '--name', self.name, '--data-dir', str(self.data),
                 '--listen-client-urls', self.url, '--advertise-client-urls', self.url,
                 '--listen-peer-urls', self.peer_url,
                 '--initial-advertise-peer-urls', self.peer_url,
                 '--initial-cluster', self.cluster.initial_cluster,
                 '--initial-cluster-token', self.cluster.token,
                 '--initial-cluster-state', 'new', '--logger', 'zap',
                 # Hashing passwords would be what the tests wait for.
                 '--bcrypt-cost', '4',
                 '--experimental-watch-progress-notify-interval', f'{int(PROGRESS * 1000)}ms',
                 *self.cluster.options]
        if self.cluster.certificates:
            certificates = self.cluster.certificates
            words += ['--cert-file', certificates.server, '--key-file', certificates.server_key,
                      '--client-cert-auth', '--trusted-ca-file', certificates.ca]
        with open(self.cluster.directory / f'{self.name}.log', 'ab') as log:
            self.process = subprocess.Popen(words, stdout=log, stderr=log,
                                            env=dict(os.environ, ETCD_UNSUPPORTED_ARCH='',
                                                     GOMAXPROCS='2'))

    def kill(self):
        if self.process:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
            self.process = None

    def pause(self):
        self.process.send_signal(signal.SIGSTOP)

    def resume(self):
        self.process.send_signal(signal.SIGCONT)


def stop_on_signal():
    """Lets a test that is stopped end its servers."""
    def stop(number, _):
        raise SystemExit(128 + number)
    signal.signal(signal.SIGTERM, stop)


class Cluster:
    """Three members by default. A context manager: every member is gone at its end."""

    def __init__(self, directory, servers, members=3, tls=True, login=True, token='settings',
                 options=(), certificates=None):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True, exist_ok=True)
        self.etcd = str(servers / 'root/usr/bin/etcd')
        self.etcdctl_program = str(servers / 'root/usr/bin/etcdctl')
        self.scheme = 'https' if tls else 'http'
        self.certificates = certificates
        if tls and not certificates:
            self.certificates = Certificates(self.directory / 'certificates')
        self.login, self.token, self.options = login, token, options
        self._has_login = False
        self.members = [Member(self, f'm{index + 1}') for index in range(members)]

    @property
    def initial_cluster(self):
        return ','.join(f'{member.name}={member.peer_url}' for member in self.members)

    @property
    def endpoints(self):
        return ','.join(member.url for member in self.members)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self):
        for member in self.members:
            member.start()
        self.wait_healthy()
        if self.login and not self._has_login:
            self._add_users()

    def stop(self):
        for member in self.members:
            member.kill()

    def wait_healthy(self, members=None):
        for member in members or self.members:
            wait_until(f'{member.name} is healthy', lambda member=member: self._serves(member))

    def _serves(self, member):
        return self.etcdctl('get', 'health', endpoint=member.url, check=False).returncode == 0

    def lead(self, member):
        """Makes a member the leader: the others can be lost without an election."""
        status = {each: json.loads(self.etcdctl('endpoint', 'status', '-w', 'json',
                                                endpoint=each.url).stdout)[0]['Status']
                  for each in self.members}
        number = status[member]['header']['member_id']
        leader = next(each for each in self.members
                      if status[each]['header']['member_id'] == status[member]['leader'])
        if leader is not member:
            self.etcdctl('move-leader', f'{number:x}', endpoint=leader.url)

    def _add_users(self):
        for words in (('user', 'add', f'root:{ROOT_PASSWORD}'),
                      ('role', 'add', 'root'),
                      ('user', 'grant-role', 'root', 'root'),
                      ('role', 'add', 'settings-reader'),
                      ('role', 'grant-permission', '--prefix=true', 'settings-reader', 'read',
                       '/vexa/'),
                      ('user', 'add', f'settings-reader:{READER_PASSWORD}'),
                      ('user', 'grant-role', 'settings-reader', 'settings-reader'),
                      ('auth', 'enable')):
            self.manage(*words)
        self._has_login = True

    def manage(self, *words):
        """Runs etcdctl until it succeeds: a busy machine may lose a leader meanwhile."""
        def is_done():
            result = self.etcdctl(*words, check=False)
            return result if result.returncode == 0 or 'already exists' in result.stderr else None
        return wait_until(f'etcdctl {words}', is_done, 60)

    def etcdctl(self, *words, endpoint=None, check=True, user=f'root:{ROOT_PASSWORD}', input=None):
        line = [self.etcdctl_program, '--endpoints', endpoint or self.endpoints,
                '--command-timeout', '5s', '--dial-timeout', '2s']
        if self.certificates:
            line += ['--cacert', self.certificates.ca, '--cert', self.certificates.host,
                     '--key', self.certificates.host_key]
        if self._has_login:
            line += ['--user', user]
        result = subprocess.run([*line, *words], capture_output=True, text=True, input=input,
                                env=dict(os.environ, ETCDCTL_API='3'))
        if check and result.returncode != 0:
            raise AssertionError(f'etcdctl {words}: {result.stderr}')
        return result

    def put(self, key, value):
        """Puts a setting; returns the revision."""
        return self.revision_of(self.manage('put', key, value, '-w', 'json'))

    def delete(self, key, *words):
        return self.revision_of(self.manage('del', key, *words, '-w', 'json'))

    @staticmethod
    def revision_of(result):
        return json.loads(result.stdout)['header']['revision']
