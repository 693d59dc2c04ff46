"""What the fault tests share: a component folder that goes with the test, and what a document must be."""

import unittest

from component import Component, is_whole


class FaultTest(unittest.TestCase):
    maxDiff = None
    parts = None  # what the command line names; fault_tests.py sets it

    def component(self, **keywords):
        component = Component(self.parts, **keywords)
        self.addCleanup(component.remove)
        return component

    def assertDocument(self, text, root, devices, failures=0):
        self.assertTrue(is_whole(text, root), text)
        self.assertEqual(text.count("<Device "), devices, text)
        self.assertEqual(text.count('<SPStatus result = "false" >'), failures, text)

    def assertEnds(self, result, status):
        self.assertEqual(result.status, status, str(result))
