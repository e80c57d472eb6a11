"""The settings agent of one host, and a service on it that looks settings up."""

import os
import pathlib
import re
import signal
import socket
import subprocess
import threading
import time

from cluster import PROGRESS, READER_PASSWORD, wait_until

BUILD = pathlib.Path(os.environ['COMMUTIL_BUILD'])
SERVERS = pathlib.Path(os.environ['COMMUTIL_SERVERS'])
PROGRAM = str(BUILD / 'tools/commutil-settings/commutil-settings')
COMMUTIL = str(BUILD / 'tools/commutil/commutil')
READER = str(BUILD / 'tests/settings_agent/commutil_setting_reader')
STORE_DIRECTORY = str(BUILD / 'providers/settingrest')
PREFIX = '/vexa/common/setting_cfg/global/'


class Service:
    """A process that looks settings up through the library."""

    def __init__(self, snapshot, **environment):
        self.process = subprocess.Popen(
            [READER], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True, env=dict(os.environ, SETTINGREST_URL=f'snapshot://{snapshot}',
                                LD_LIBRARY_PATH=STORE_DIRECTORY, **environment))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    def send(self, line):
        self.process.stdin.write(line + '\n')
        self.process.stdin.flush()

    def ask(self, line):
        self.send(line)
        return self.receive()

    def receive(self):
        return self.process.stdout.readline().rstrip('\n')

    def value(self, key):
        """Returns the value of a setting, None if the lookup fails."""
        result, digits = self.ask(f'get {key}').split(' ')
        return bytes.fromhex(digits).decode('latin-1') if result == '0' else None

    def result(self, key):
        return int(self.ask(f'get {key}').split(' ')[0])

    def group(self, key):
        words = self.ask(f'group {key}').split(' ')
        pairs = (word.split('=') for word in words[1:])
        return {bytes.fromhex(name).decode('latin-1'): bytes.fromhex(value).decode('latin-1')
                for name, value in pairs}


class Agent:
    """A configuration, the agent that runs with it, and what it has logged."""

    def __init__(self, directory, cluster=None, relays=None, certificates=None, login=True,
                 sections=None, wrapper=(), program=PROGRAM):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True, exist_ok=True)
        self.snapshot = self.directory / 'state/settings.snap'
        self.configuration = self.directory / 'settings.conf'
        self.log = self.directory / 'agent.log'
        self.log.touch()
        self.process = None
        self.wrapper = tuple(wrapper)
        self.program = program
        certificates = certificates or (cluster and cluster.certificates)
        self.sections = {'snapshot': {'path': self.snapshot},
                         'agent': {'progress_interval': f'{int(PROGRESS * 1000)}ms',
                                   'compare_every': '0', 'list_every': '0'}}
        where = self.sections.setdefault('cluster' if cluster else 'relay', {})
        where.update({'endpoints': cluster.endpoints} if cluster else {'source': relays})
        if certificates:
            where.update(ca=certificates.ca, cert=certificates.host, key=certificates.host_key)
        if cluster and login and cluster.login:
            password = self.directory / 'password'
            password.write_text(READER_PASSWORD + '\n')
            password.chmod(0o600)
            where.update(user='settings-reader', password_file=password)
        for name, keys in (sections or {}).items():
            self.sections.setdefault(name, {}).update(keys)
        self.configure()

    def configure(self):
        self.configuration.write_text(''.join(
            f'[{name}]\n' + ''.join(f'{key} = {value}\n' for key, value in keys.items())
            for name, keys in self.sections.items()))

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.kill()

    def start(self, *words, environment=None):
        with open(self.log, 'ab') as log:
            self.process = subprocess.Popen(
                [*self.wrapper, self.program, 'sync', '--config', str(self.configuration), *words],
                stderr=log, stdout=log, env=dict(os.environ, **(environment or {})))

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait()
            self.process = None

    def stop(self):
        """Stops it as the service manager does; returns the exit code."""
        self.process.send_signal(signal.SIGTERM)
        code = self.process.wait(20)
        self.process = None
        return code

    def run(self, *words, input=None, timeout=60):
        """Runs an operator's command with this configuration."""
        return subprocess.run([self.program, *words, '--config', str(self.configuration)],
                              capture_output=True, text=True, input=input, timeout=timeout)

    def text(self):
        return self.log.read_text(errors='replace')

    def mark(self):
        """Returns a position in the log, for `wait_log`."""
        return len(self.text())

    def wait_log(self, pattern, since=0, seconds=30):
        """Waits for a line of the log; returns the match."""
        try:
            return wait_until(f'the log has {pattern!r}',
                              lambda: re.search(pattern, self.text()[since:]), seconds)
        except AssertionError as error:
            raise AssertionError(f'{error}\n{self.text()}') from None

    def wait_watching(self, since=0, seconds=30):
        return self.wait_log(r'(watching from|resumed at) revision', since, seconds)

    def service(self, **environment):
        return Service(self.snapshot, **environment)

    def threads(self):
        """Returns the numbers of the threads of the agent."""
        return os.listdir(f'/proc/{self.process.pid}/task')


def wait_value(service, key, value, seconds=15):
    """Waits until a service sees a value; returns the seconds it took."""
    begin = time.monotonic()
    wait_until(f'{key} is {value!r}', lambda: service.value(key) == value, seconds)
    return time.monotonic() - begin


class Manager:
    """Takes the place of the service manager: receives what the agent tells it."""

    def __init__(self, path):
        self.environment = {'NOTIFY_SOCKET': str(path), 'WATCHDOG_USEC': '200000'}
        self.messages = []
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(str(path))
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        for message in iter(lambda: self._socket.recv(100), b'end'):
            self.messages.append(message.decode())

    def wait_alive(self):
        """Waits for further signs of life."""
        seen = self.messages.count('WATCHDOG=1')
        wait_until('signs of life', lambda: self.messages.count('WATCHDOG=1') >= seen + 3)

    def close(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as own:
            own.sendto(b'end', self._socket.getsockname())
        self._thread.join()
        self._socket.close()


class Lookups:
    """Looks a setting up from now on, in a service of its own, and counts the failures."""

    def __init__(self, agent, key):
        self.service, self.key = agent.service(), key
        wait_until(f'{key} is there', lambda: self.service.value(key) is not None)
        self.count = self.failures = 0
        self._ends = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def _run(self):
        while not self._ends.is_set():
            self.count += 1
            self.failures += self.service.value(self.key) is None
            time.sleep(0.002)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._ends.set()
        self._thread.join()
        self.service.__exit__()
