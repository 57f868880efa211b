#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints how many lines of code the tests have, and how many all other code has: cloc's count of code lines
in the languages that programs are written in, of the files that git knows, without the corpora of the fuzzers."""

import json
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
LANGUAGES = "C++,C/C++ Header,Objective-C++,Python,CMake,Bourne Shell,Bourne Again Shell"

files = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True, text=True).stdout
counted = subprocess.run(["cloc", "--quiet", "--json", "--by-file", "--include-lang", LANGUAGES, "--list-file", "-"],
                         cwd=ROOT, check=True, capture_output=True, text=True, input=files).stdout
lines = {name: entry["code"] for name, entry in json.loads(counted).items() if name not in ("header", "SUM")}
tests = sum(code for name, code in lines.items() if name.startswith("tests/"))
others = sum(lines.values()) - tests
print(f"Tests are {tests / others:.2f} of all other code: {tests} to {others} lines.")
