#!/usr/bin/env python3
"""What keys and values may hold, from the cluster to a lookup, and more of them than fit in a page."""

import unittest

from agent import PREFIX, wait_value
from cluster import wait_until
from cluster_case import SharedClusterTest

BYTES = 'Gr\xfc\xdfe\0"\'\\\n\xff'  # Latin-1 with a NUL, quotes and a line feed
GROUP = '/vexa/test/'


class Keys(SharedClusterTest):
    def setUp(self):
        super().setUp()
        self.gateway = self.new_gateway()

    def put(self, key, value):
        self.gateway.put(key, value.encode('latin-1'))

    def test_keys_and_values_keep_every_byte_in_a_list_and_in_a_watch(self):
        def put_all(number):
            self.put(f'{GROUP}bytes{number}', BYTES)
            self.put(f'{GROUP}empty{number}', '')
            self.put(f'/vexa/common//global/{number}', 'of an empty application')
            self.put(f'{GROUP}both{number}', 'a setting')
            self.put(f'{GROUP}both{number}/below', 'in the group of the same name')
        put_all(1)
        agent, service = self.new_host()
        put_all(2)
        wait_value(service, f'{GROUP}both2/below', 'in the group of the same name')
        for number in (1, 2):
            self.assertEqual(BYTES, service.value(f'{GROUP}bytes{number}'))
            self.assertEqual('', service.value(f'{GROUP}empty{number}'))
            self.assertEqual('of an empty application',
                             service.value(f'/vexa/common//global/{number}'))
            self.assertEqual('a setting', service.value(f'{GROUP}both{number}'))
            self.assertEqual({'below': 'in the group of the same name'},
                             service.group(f'{GROUP}both{number}/'))
        self.assertEqual(0, agent.run('diff').returncode)

    def test_keys_of_groups_are_dropped_with_one_warning(self):
        self.put('/vexa/test/', 'of a group')
        agent, service = self.new_host()
        self.put('/vexa/other/', 'of a group')
        self.put(PREFIX + 'last', 'last')
        wait_value(service, PREFIX + 'last', 'last')
        self.assertIsNone(service.value('/vexa/test/'))
        self.assertEqual(1, agent.text().count('warning: key'))
        agent.wait_log(r'warning: key /vexa/test/ ends in "/": it is dropped')
        self.assertEqual(0, agent.run('diff').returncode)

    def test_what_is_outside_of_the_prefix_is_not_read(self):
        agent, service = self.new_host()
        for key in ('/vexa', '/vexa0', '/other/key'):
            self.put(key, 'x')
        self.put(PREFIX + 'last', 'last')
        wait_value(service, PREFIX + 'last', 'last')
        for key in ('/vexa', '/vexa0', '/other/key'):
            self.assertIsNone(service.value(key))
        self.assertNotIn('warning', agent.text())

    def test_more_settings_than_a_page_holds_are_listed(self):
        settings = {f'{GROUP}{number:04}': str(number) for number in range(2500)}
        self.gateway.put_all(settings)
        agent, service = self.new_host()
        agent.wait_log('listed 2501 settings')
        wait_until('all', lambda: service.value(f'{GROUP}2499') == '2499')
        self.assertEqual({key.removeprefix(GROUP): value for key, value in settings.items()},
                         service.group(GROUP))


if __name__ == '__main__':
    unittest.main()
