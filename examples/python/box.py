"""A router box for tests in Python, with nothing but its standard library.

    with Box('../') as box:                        # the folder with box.toml
        box.wan(state='down')                      # the verbs, with their arguments by name
        box.expect(subject='event', what='wan', value='257', to='watcher')

`routerbox VERB --help` and box.verbs() tell the verbs; what is refused raises Refused.
"""
import http.client
import json
import os
import socket
import subprocess


class Refused(AssertionError):
    """An expectation that is not met, or a verb that cannot be carried out."""

    def __init__(self, error, status):
        super().__init__(error)
        self.status = status  # as the program `routerbox` ends with it


class _Connection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__('box', timeout=60)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


class Box:
    def __init__(self, project, *options, program='routerbox'):
        self.name = 'python-%d' % os.getpid()
        self._routerbox = [program]
        up = self._run('up', '--json', '--quiet', '--name', self.name, *options, cwd=project)
        self._socket = json.loads(up)['socket']

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Every plug-in must live, and every fault be played."""
        problems = self.verify(end=True)['problems']
        self._run('down', '--name', self.name)
        if problems:
            raise Refused('\n'.join(problems), 1)

    def __getattr__(self, verb):
        return lambda **arguments: self._ask('POST', '/' + verb, json.dumps(arguments))

    def verbs(self):
        """All of them, with a JSON Schema of each one's result."""
        return self._ask('GET', '/verbs')

    def _ask(self, method, path, body=None):
        connection = _Connection(self._socket)
        connection.request(method, path, body)
        reply = connection.getresponse()
        answer = json.load(reply)
        connection.close()
        if reply.status != 200:
            raise Refused(answer['error'], answer['status'])
        return answer

    def _run(self, *words, **how):
        done = subprocess.run(self._routerbox + list(words), text=True, capture_output=True, **how)
        if done.returncode:
            raise Refused(done.stderr, done.returncode)
        return done.stdout
