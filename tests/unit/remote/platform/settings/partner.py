"""Another program that shares the preferences: Python's own property lists and file locks.

    partner.py make FILE           writes one value of every kind
    partner.py check FILE          exits with 0 if they are all there, unchanged
    partner.py write FILE COUNT    changes its own keys COUNT times; exits with 1 if a change got lost
"""
import datetime
import fcntl
import os
import plistlib
import sys

EVERYTHING = {
    "numbers": [0, -1, 2**63, 2**64 - 1, -(2**63), 0.1, 1 / 3, 1e300, 5e-324, 1e16, float("inf"), -0.0, True, False],
    "dates": [datetime.datetime(year, 2, 28, 23, 59, 58) for year in (1, 1601, 1969, 2024, 4001, 9999)],
    "data": [bytes(range(256))[:length] for length in (0, 1, 2, 3, 255, 256)],
    "texts": ["", " a\n\tb ", "<&>\"'", "]]>", "Grüße \U0001F600", "\u0085\u2028"],
    "ключ <&>": {"": {}, "nested": {"array": [[], [[{"deep": [1]}]]]}},
}
action, path = sys.argv[1:3]

if action == "check":
    with open(path, "rb") as file:
        values = plistlib.load(file)
    sys.exit(any(repr(values.get(key)) != repr(value) for key, value in EVERYTHING.items()))
if action == "make":
    with open(path, "wb") as file:
        sys.exit(plistlib.dump(EVERYTHING, file))
for i in range(1, int(sys.argv[3]) + 1):
    with os.fdopen(os.open(path, os.O_RDWR | os.O_CREAT, 0o666), "r+b") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        content = file.read()
        values = plistlib.loads(content) if content else {}
        if i > 1 and values.get(f"python{(i - 1) % 10}") != i - 1:
            sys.exit(1)
        values[f"python{i % 10}"] = i
        file.seek(0)
        file.write(plistlib.dumps(values))
        file.truncate()
