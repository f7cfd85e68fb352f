"""Every verb of the box gives what GET /verbs says of it."""
import os
import sys
import tempfile
import unittest

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), '../../examples')
sys.path.insert(0, EXAMPLES + '/python')
from box import Box, Refused  # noqa: E402

ADD = ('{"jsonrpc": "2.0", "id": 1, "method": "aria2.addUri",'
       ' "params": [["http://127.0.0.1/a"], {"gid": "2089b05ecca3d829", "pause": "true"}]}')
CALLS = {
    'start': {'target': 'greeter'}, 'stop': {'target': 'watcher'}, 'restart': {'target': 'router'},
    'enter': {'as': 'greeter'}, 'send': {'plugin': 'greeter', 'text': 'hi'},
    'expect': {'subject': 'object', 'what': 'greeter'}, 'event': {'event': 'home', 'sub': 512},
    'wan': {'state': 'down'}, 'disk': {'change': 'add', 'name': 'sdx'},
    'set': {'path': 'WAN.WAN_IP', 'value': '203.0.113.9'}, 'ability': {'plugin': 'greeter'},
    'fault': {'service': 'router', 'method': '*', 'kind': 'delay:1ms'}, 'output': {'plugin': 'greeter'},
    'download': {'change': 'delete', 'id': '2089b05ecca3d829'},
}
TYPES = {'string': str, 'number': (int, float), 'boolean': bool, 'array': list, 'object': dict, 'null': type(None)}


def faults_of(result, schema):
    members = schema['properties']
    faults = ['missing ' + name for name in schema['required'] if name not in result]
    for name, value in result.items():
        types = members.get(name, {'type': []}).get('type', list(TYPES))
        if not any(isinstance(value, TYPES[kind]) for kind in ([types] if isinstance(types, str) else types)):
            faults.append('%s is %r' % (name, value))
    return faults


@unittest.skipUnless(os.environ['BOX_OPTIONS'].endswith('/build/dev'), 'examples/box.toml packs programs of build/dev')
class Verbs(unittest.TestCase):
    def test_give_what_they_promise(self):
        with tempfile.TemporaryDirectory() as folder:
            box = Box(EXAMPLES, '--downloads', '--keep', folder, *os.environ['BOX_OPTIONS'].split())
            box._run('exec', '--name', box.name, '--', 'curl', '-sd', ADD, 'http://127.0.0.1:6800/jsonrpc')
            CALLS['install'] = {'file': folder + '/greeter'}
            box._run('pack', 'greeter', '--output', folder + '/greeter', cwd=EXAMPLES)
            verbs = {verb['verb']: verb for verb in box.verbs()}
            for name in [name for name in verbs if name != 'down'] + ['down']:
                result = getattr(box, name)(**CALLS.get(name, {}))
                self.assertEqual([], faults_of(result, verbs[name]['result']), name)


if __name__ == '__main__':
    unittest.main()
