"""Prints the name of each end-to-end test."""

import unittest


def show(tests):
    for test in tests:
        if isinstance(test, unittest.TestSuite):
            show(test)
        else:
            print(test.id())


show(unittest.defaultTestLoader.discover("."))
