#!/usr/bin/env python3
"""Runs every command of the page about fleets, as it is written, on machines of its own making.

The machines are one set of namespaces: their names are addresses on loopback, their files are mounted
over this machine's. A stub takes the place of the service manager.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from agent import BUILD, COMMUTIL, PROGRAM, SERVERS, STORE_DIRECTORY
from cluster import wait_until

SOURCES = pathlib.Path(__file__).resolve().parents[2]
PAGE = SOURCES / 'docs/operators/fleet.md'
STUB = pathlib.Path(__file__).resolve().parent / 'systemctl_stub'
ADDRESSES = {'e1': '127.0.0.11', 'e2': '127.0.0.12', 'e3': '127.0.0.13', 'relay1': '127.0.0.21'}
MOUNTED = ('/etc/commutil', '/etc/etcd', '/etc/default', '/etc/systemd/system', '/etc/nginx',
           '/var/lib/commutil', '/var/lib/etcd', '/srv', '/usr/share/doc', '/run/stub')


def blocks():
    return re.findall(r'^```sh\n(.*?)^```', PAGE.read_text(), re.MULTILINE | re.DOTALL)


def command(*words):
    subprocess.run(words, check=True)


class FleetPage(unittest.TestCase):
    def setUp(self):
        command('ip', 'link', 'set', 'lo', 'up')
        for directory in MOUNTED:
            existed = os.path.isdir(directory)
            os.makedirs(directory, exist_ok=True)
            command('mount', '-t', 'tmpfs', 'tmpfs', directory)
            self.addCleanup(subprocess.run, ['umount', '-l', directory], check=False)
            if not existed:
                self.addCleanup(os.rmdir, directory)
        self.directory = pathlib.Path(tempfile.mkdtemp(dir='/run/stub'))
        self._mount_over('/etc/hosts', ''.join(
            f'{address} {name}\n' for name, address in ADDRESSES.items()) +
                         # Members look up where each other's connections come from.
                         '127.0.0.1 localhost e1 e2 e3\n')
        self._mount_over('/etc/passwd', pathlib.Path('/etc/passwd').read_text() +
                         'commutil-settings:x:990:990::/var/lib/commutil:/usr/sbin/nologin\n')
        self._mount_over('/etc/group', pathlib.Path('/etc/group').read_text() +
                         'commutil-settings:x:990:\n')
        examples = pathlib.Path('/usr/share/doc/commutil-settings/examples')
        examples.mkdir(parents=True)
        shutil.copy(SOURCES / 'examples/fleet/relay.conf', examples)
        os.makedirs('/etc/nginx/sites-enabled')
        programs = self.directory / 'bin'
        programs.mkdir()
        shutil.copy(STUB, programs / 'systemctl')
        for source in (COMMUTIL, PROGRAM, SERVERS / 'root/usr/bin/etcd',
                       SERVERS / 'root/usr/bin/etcdctl', SERVERS / 'root/usr/sbin/nginx'):
            (programs / pathlib.Path(source).name).symlink_to(source)
        self.environment = {'PATH': f'{programs}:{os.environ["PATH"]}', 'STUB': '/run/stub',
                            'LD_LIBRARY_PATH': f'{STORE_DIRECTORY}:{BUILD}/src', 'HOME': '/root',
                            'STUB_ADDRESSES': ' '.join(f'{n}={a}' for n, a in ADDRESSES.items())}
        self.addCleanup(self.run_shell, 'systemctl stop everything')

    def _mount_over(self, path, content):
        file = self.directory / pathlib.Path(path).name
        file.write_text(content)
        command('mount', '--bind', str(file), path)
        self.addCleanup(subprocess.run, ['umount', '-l', path], check=False)

    def run_shell(self, text):
        return subprocess.run(['bash', '-euo', 'pipefail', '-c', text], env=self.environment,
                              capture_output=True, text=True, check=False, cwd='/')

    def succeed(self, text):
        result = self.run_shell(text)
        self.assertEqual(0, result.returncode, f'{text}\n{result.stdout}{result.stderr}')
        return result.stdout

    def members(self, text):
        """Runs a block that is meant for each member."""
        if 'restore' in text:  # every member stops before the first one starts again
            for member in ('e1', 'e2', 'e3'):
                self.succeed(f'systemctl stop etcd@{member}')
        for member in ('e1', 'e2', 'e3'):
            self.succeed(f'export STUB_MEMBER={member}\n' +
                         text.replace('member=e1', f'member={member}'))
        self.wait_healthy()

    def wait_healthy(self):
        wait_until('the cluster is healthy', lambda: self.run_shell(
            'cd /etc/commutil/authority; ETCDCTL_API=3 etcdctl --endpoints '
            'https://e1:2379,https://e2:2379,https://e3:2379 --cacert ca.pem --cert host1.pem '
            '--key host1.key get health $([ -e password-root ] && '
            'echo --user root:$(cat password-root))').returncode == 0, 60)

    def other_host(self, text):
        """Runs a block on another machine: with its own files, not those of the relay."""
        return self.succeed(
            "unshare --mount bash -euo pipefail <<'MACHINE'\n"
            'cp -a /etc/commutil /run/stub/other; mount --bind /run/stub/other /etc/commutil\n'
            'mount -t tmpfs tmpfs /var/lib/commutil\n'
            f'export STUB=/run/stub/other-run; mkdir -p $STUB\n{text}\n'
            'systemctl stop everything\nMACHINE')

    def test_every_command_works_as_it_is_written(self):
        outputs = []
        for text in blocks():
            if text.startswith('member=e1'):
                self.members(text)
            elif '[relay]' in text:
                outputs.append(self.other_host(text))
            else:
                outputs.append(self.succeed(text))
        everything = ''.join(outputs)
        self.assertIn('revision', everything)
        self.assertIn('enable\n', everything)
        self.assertIn('following', everything)
        self.assertIn('epoch 1\n', everything)
        # The host follows the restored cluster.
        wait_until('the agent is back', lambda: self.run_shell(
            'commutil settings diff').returncode == 0, 60)


def main():
    if os.environ.get('COMMUTIL_NAMESPACE') != '1':
        user = [] if os.getuid() == 0 else ['--map-root-user']
        os.execvpe('unshare', ['unshare', *user, '--mount', '--net', '--uts', sys.executable,
                               *sys.argv], dict(os.environ, COMMUTIL_NAMESPACE='1'))
    unittest.main()


if __name__ == '__main__':
    main()
