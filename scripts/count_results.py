#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints how many tests of a JUnit file passed, failed and were skipped."""

import sys
import xml.etree.ElementTree

suite = xml.etree.ElementTree.parse(sys.argv[1]).getroot()
tests = int(suite.get("tests"))
bad = sum(int(suite.get(kind, 0)) for kind in ("failures", "errors", "disabled"))
skipped = int(suite.get("skipped", 0))
if tests == 0:
    sys.exit("no tests")
print(tests - bad - skipped, bad, skipped)
