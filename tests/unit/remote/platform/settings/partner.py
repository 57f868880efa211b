# SPDX-License-Identifier: MIT

"""Another program that shares the preferences: Python's own property lists.

    partner.py xml FILE             writes one value of every kind
    partner.py binary FILE          the same in the binary form
    partner.py check FILE           exits with 0 if they are all there, unchanged
    partner.py write FILE COUNT     writes as many values, each under the file's lock
"""
import datetime
import fcntl
import plistlib
import sys

EVERYTHING = {
    "numbers": [0, -1, 2**63, 2**64 - 1, -(2**63), 0.1, 1 / 3, 1e300, 5e-324, 1e16, float("inf"), -0.0, True, False],
    "dates": [datetime.datetime(year, 2, 28, 23, 59, 58) for year in (1, 1601, 1969, 2024, 4001, 9999)],
    "data": [bytes(range(256))[:length] for length in (0, 1, 2, 3, 255, 256)],
    "texts": ["", " a\n\tb ", "<&>\"'", "]]>", "Grüße \U0001F600", "\u0085\u2028"],
    "ключ <&>": {"": {}, "nested": {"array": [[], [[{"deep": [1]}]]]}},
}
action, path, *count = sys.argv[1:]


def write(index):
    with open(path, "r+b") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        values = plistlib.load(file)
        values[f"partner{index}"] = index
        file.seek(0)
        plistlib.dump(values, file)
        file.truncate()


if action == "check":
    with open(path, "rb") as file:
        values = plistlib.load(file)
    sys.exit(any(repr(values.get(key)) != repr(value) for key, value in EVERYTHING.items()))
if action == "write":
    for index in range(int(*count)):
        write(index)
else:
    with open(path, "wb") as file:
        plistlib.dump(EVERYTHING, file, fmt=plistlib.FMT_BINARY if action == "binary" else plistlib.FMT_XML)
