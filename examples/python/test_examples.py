"""Tests of the greeter and the watcher: python3 -m unittest, with routerbox on PATH."""
import os
import unittest

from box import Box, Refused

FOLDER = os.path.dirname(os.path.abspath(__file__))
OPTIONS = os.environ.get('BOX_OPTIONS', '').split()  # such as --target mipsel


class Examples(unittest.TestCase):
    def setUp(self):
        self.box = Box(os.path.dirname(FOLDER), *OPTIONS)
        self.addCleanup(self.box.close)

    def test_the_greeter_answers(self):
        answer = self.box.send(plugin='greeter', text='Is it raining?')['answer']
        self.assertEqual(answer, 'Good day! You said: Is it raining?')

    def test_the_watcher_hears_of_an_outage(self):
        self.box.expect(subject='output', what='watcher', value='and listen$')
        self.box.wan(state='down')
        self.box.expect(subject='output', what='watcher', value='WAN event, subevent 257', within='2s')

    def test_what_is_not_so_is_told(self):
        with self.assertRaisesRegex(Refused, 'nearest to it: WAN.WAN_NET is 1'):
            self.box.expect(subject='state', what='WAN.WAN_NET', value='0', within='100ms')


if __name__ == '__main__':
    unittest.main()
