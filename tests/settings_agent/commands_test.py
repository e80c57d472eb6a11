#!/usr/bin/env python3
"""The operator's commands against a real cluster, and what services see of them."""

import json
import os
import pathlib
import pty
import shutil
import subprocess
import time
import unittest

from agent import COMMUTIL, PREFIX, PROGRAM, STORE_DIRECTORY, wait_value
from cluster import ROOT_PASSWORD, wait_until
from cluster_case import KEY, SharedClusterTest

SOURCES = pathlib.Path(__file__).resolve().parents[2]
SSL = '/vexa/common/svc_ssl_conf/global/'


class Commands(SharedClusterTest):
    def setUp(self):
        super().setUp()
        self.agent = self.new_agent()
        self.service = self.new_service(self.agent)
        wait_value(self.service, KEY, 'enable')
        self.writer = self.new_agent('operator', start=False)
        password = self.directory / 'root-password'
        password.write_text(ROOT_PASSWORD)
        password.chmod(0o600)
        self.writer.sections['cluster'].update(user='root', password_file=password)
        self.writer.configure()

    def commutil(self, *words, configuration=None, input=None):
        environment = dict(os.environ, LD_LIBRARY_PATH=STORE_DIRECTORY,
                           SETTINGREST_URL=f'snapshot://{self.agent.snapshot}',
                           COMMUTIL_SETTINGS_CONF=str(configuration or self.writer.configuration))
        return subprocess.run([COMMUTIL, 'settings', *words], capture_output=True, text=True,
                              input=input, env=environment, timeout=60)

    def succeed(self, *words, **options):
        result = self.commutil(*words, **options)
        self.assertEqual((0, ''), (result.returncode, result.stderr))
        return result.stdout

    def test_a_put_is_checked_written_and_seen_by_services(self):
        result = self.commutil('put', 'ListenAllIp', 'enabled')
        self.assertEqual(1, result.returncode)
        self.assertIn('takes enable or disable; did you mean enable?', result.stderr)
        out = self.succeed('put', 'ListenAllIp', 'disable')
        self.assertIn(f'  {KEY}  "enable" -> "disable"\n', out)
        revision = out.split('\n')[0].split(' ')[1]
        self.succeed('wait', '--revision', revision, configuration=self.agent.configuration)
        self.assertEqual('disable', self.service.value(KEY))
        self.assertEqual('disable\n', self.succeed('show', 'ListenAllIp'))
        self.assertEqual('unchanged\n', self.succeed('put', 'ListenAllIp', 'disable'))
        self.assertIn('"written" : true',
                      self.succeed('put', '--force', '--json', 'ListenAllIp', 'other'))

    def test_a_delete_removes_what_is_there(self):
        self.assertIn('"enable" -> (not set)', self.succeed('delete', 'ListenAllIp'))
        wait_value(self.service, KEY, None)
        result = self.commutil('delete', 'ListenAllIp')
        self.assertEqual((1, f'commutil-settings: error: {KEY} is not set\n'),
                         (result.returncode, result.stderr))

    def test_a_key_that_agents_drop_can_be_deleted(self):
        self.cluster.put('/vexa/test/', 'x')
        self.succeed('delete', '/vexa/test/')
        result = self.commutil('delete', '/vexa/test/')
        self.assertEqual((1, 'commutil-settings: error: /vexa/test/ is not set\n'),
                         (result.returncode, result.stderr))

    def test_the_configuration_can_be_named(self):
        none = self.directory / 'none'
        result = self.commutil('put', 'ListenAllIp', 'disable', configuration=none)
        self.assertEqual(1, result.returncode)
        self.assertIn('commutil-settings keeps this snapshot', result.stderr)
        self.succeed('put', 'ListenAllIp', 'disable', '--config', str(self.writer.configuration),
                     configuration=none)
        wait_value(self.service, KEY, 'disable')

    def test_a_command_goes_on_with_a_member_that_answers_and_shows_on_a_terminal_that_it_waits(self):
        self.cluster.members[0].pause()
        self.addCleanup(self.cluster.members[0].resume)
        self.writer.sections['agent'].update(connect_timeout='2s')
        self.writer.configure()
        document = json.dumps({f'/vexa/test/{number:04}': 'x' for number in range(1000)})
        reader, terminal = pty.openpty()
        self.addCleanup(os.close, reader)
        begin = time.monotonic()
        with open(terminal, 'wb') as errors:
            result = subprocess.run(
                [PROGRAM, 'import', '--force', '-', '--config', str(self.writer.configuration)],
                input=document.encode(), stdout=subprocess.PIPE, stderr=errors, check=False)
        self.assertEqual(0, result.returncode)
        self.assertLess(time.monotonic() - begin, 8 * 2, 'one wait, not one for each transaction')
        self.assertIn(b'changing the cluster', os.read(reader, 1 << 16))

    def test_a_reader_is_refused_a_write(self):
        result = self.commutil('put', 'ListenAllIp', 'disable',
                               configuration=self.agent.configuration)
        self.assertEqual(1, result.returncode)
        self.assertIn('permission denied', result.stderr)

    def test_a_document_is_imported_exported_and_pruned(self):
        document = json.dumps({SSL + 'SSLVersion': 'TLSv1.3', PREFIX + 'ListenLoopbackIP': 'enable'})
        self.assertEqual(1, self.commutil('import', '-', input='{"/vexa/x": "y"}').returncode)
        self.assertIn('would change', self.succeed('import', '--dry-run', '-', input=document))
        self.succeed('import', '-', input=document)
        wait_value(self.service, SSL + 'SSLVersion', 'TLSv1.3')
        self.assertEqual('enable', self.service.value(KEY))
        out = self.succeed('import', '--prune', '-', input=document)
        self.assertIn(f'  {KEY}  "enable" -> (not set)\n', out)
        wait_value(self.service, KEY, None)
        exported = self.writer.run('export')
        self.assertEqual(json.loads(document), json.loads(exported.stdout))

    def test_an_import_that_fits_is_one_transaction_and_a_larger_one_says_that_it_is_not(self):
        def document(count, value):
            return json.dumps({f'/vexa/test/{number:04}': value for number in range(count)})
        before = self.cluster.put(KEY, 'x')
        result = self.commutil('import', '--force', '-', input=document(128, 'a'))
        self.assertEqual((0, ''), (result.returncode, result.stderr))
        self.assertEqual(f'revision {before + 1}', result.stdout.split('\n')[0])
        result = self.commutil('import', '--force', '-', input=document(300, 'b'))
        self.assertEqual(0, result.returncode)
        self.assertIn('300 changes do not fit into one transaction: 3 follow one another',
                      result.stderr)
        self.assertEqual(f'revision {before + 4}', result.stdout.split('\n')[0])
        wait_until('services see all', lambda: len(self.service.group('/vexa/test/')) == 300)

    def test_diff_and_status_compare_with_the_cluster(self):
        wait_until('equal', lambda: self.agent.run('diff').returncode == 0)
        self.agent.stop()
        self.cluster.put(KEY, 'disable')
        result = self.agent.run('diff')
        self.assertEqual((1, f'{KEY}  "enable" -> "disable"\n'),
                         (result.returncode, result.stdout))
        document = json.loads(self.agent.run('status', '--json').stdout)
        self.assertTrue(document['fresh'])
        self.assertEqual(1, document['settings'])
        self.assertEqual('watching', document['state'])
        self.assertEqual(0, self.agent.run('sync', '--once').returncode)
        self.assertEqual('disable', self.service.value(KEY))
        self.assertEqual(0, self.agent.run('diff').returncode)

    def test_wait_gives_up(self):
        result = self.agent.run('wait', '--revision', '1000000', '--timeout', '0')
        self.assertEqual(1, result.returncode)
        self.assertIn('not yet at 1000000', result.stderr)

    def test_secrets_that_others_can_read_are_refused(self):
        password = self.agent.directory / 'password'
        password.chmod(0o644)
        result = self.agent.run('diff')
        self.assertEqual(1, result.returncode)
        self.assertIn(f'{password}: others than its owner can read it; run chmod 600', result.stderr)
        self.agent.stop()
        self.agent.start()
        self.assertEqual(1, self.agent.process.wait(20))

    def test_a_certificate_with_a_common_name_is_explained(self):
        certificate, key = self.cluster.certificates.issue('named', '/O=Example/CN=host',
                                                           'clientAuth')
        named = self.new_agent('named', start=False)
        named.sections['cluster'].update(cert=certificate, key=key)
        named.configure()
        named.start()
        named.wait_log(r'error: .*check user, password_file and that the certificate has no common '
                       r'name')

    def test_switches_and_the_ssl_option_file_follow_a_put_without_a_restart(self):
        share = self.directory / 'share'
        (share / 'conf').mkdir(parents=True)
        (share / 'conf/setting.cfg').write_text('[IP]\n')
        shutil.copy(SOURCES / 'examples/deployment/common/conf/svc_ssl.conf', share / 'conf')
        names = {'_APP_SHARE_DIR': str(share), 'APP_NAME': 'inventory', 'PROCESS_INSTANCE_ID': '1'}
        service = self.new_service(self.agent, **names)
        self.assertEqual('1', service.ask('listen'))
        self.succeed('put', 'ListenAllIp', 'disable')
        wait_until('the switch is off', lambda: service.ask('listen') == '0')
        self.assertEqual('1', service.ask('ssl'))
        self.succeed('put', 'SSLNoProtection', 'enable')
        wait_until('the switch is off', lambda: service.ask('ssl') == '0')
        self.succeed('put', 'SSLVersion', 'TLSv1.3')
        wait_value(self.service, SSL + 'SSLVersion', 'TLSv1.3')
        late = self.new_service(self.agent, **names)
        path = late.ask('conf svc_ssl.conf')
        with open(path, encoding='utf-8') as file:
            self.assertIn('TLSv1.3', file.read())
        self.assertIsNone(service.process.poll())


if __name__ == '__main__':
    unittest.main()
