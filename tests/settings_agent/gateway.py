"""Writes to a cluster through its JSON gateway: etcdctl takes a process for each."""

import base64
import contextlib
import http.client
import json
import ssl
import urllib.parse

from cluster import ROOT_PASSWORD, wait_until

MOST_OPERATIONS = 128  # of a transaction


def encode(text):
    return base64.b64encode(text if isinstance(text, bytes) else text.encode()).decode()


class Gateway:
    """A connection to one member after another. A request may or may not have been carried out."""

    def __init__(self, cluster, timeout=3):
        self.cluster, self.timeout = cluster, timeout
        if cluster.certificates:
            self._context = ssl.create_default_context(cafile=cluster.certificates.ca)
            self._context.load_cert_chain(cluster.certificates.host, cluster.certificates.host_key)
        self._connection = self._token = None
        self._member = 0

    def _close(self):
        if self._connection:
            self._connection.close()
        self._connection = self._token = None
        self._member = (self._member + 1) % len(self.cluster.members)

    def _connect(self):
        url = urllib.parse.urlsplit(self.cluster.members[self._member].url)
        if self.cluster.certificates:
            self._connection = http.client.HTTPSConnection(
                url.hostname, url.port, context=self._context, timeout=self.timeout)
        else:
            self._connection = http.client.HTTPConnection(url.hostname, url.port,
                                                          timeout=self.timeout)
        if self.cluster.login:
            self._token = self._post('/v3/auth/authenticate',
                                     {'name': 'root', 'password': ROOT_PASSWORD})['token']

    def _post(self, path, body):
        headers = {'Grpc-Metadata-hasleader': 'true'}
        if self._token:
            headers['Authorization'] = self._token
        self._connection.request('POST', path, json.dumps(body), headers)
        response = self._connection.getresponse()
        text = response.read()
        if response.status != 200:
            raise OSError(f'{response.status} {text}')
        return json.loads(text)

    def call(self, path, body):
        """Returns the reply, None if it is unknown what has come of the request."""
        try:
            if not self._connection:
                self._connect()
            return self._post(path, body)
        except (OSError, http.client.HTTPException, ValueError):
            with contextlib.suppress(OSError):
                self._close()
            return None

    def put(self, key, value):
        """Puts a setting, and again until it is known to be there."""
        request = {'key': encode(key), 'value': encode(value)}
        return wait_until(f'a put of {key}', lambda: self.call('/v3/kv/put', request))

    def put_all(self, settings):
        """Puts many settings, in as few transactions as possible."""
        puts = [{'request_put': {'key': encode(key), 'value': encode(value)}}
                for key, value in settings.items()]
        for begin in range(0, len(puts), MOST_OPERATIONS):
            request = {'success': puts[begin:begin + MOST_OPERATIONS]}
            wait_until('a transaction', lambda request=request: self.call('/v3/kv/txn', request))

    def close(self):
        self._close()
