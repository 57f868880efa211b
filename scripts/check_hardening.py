# SPDX-License-Identifier: MIT

"""check_hardening.py BUILD: fails unless every program of an optimised build for Linux is hardened."""

import pathlib
import re
import subprocess
import sys


def faults_of(program):
    """Yields what the ELF file lacks."""
    shown = subprocess.run(["readelf", "--wide", "-hldW", "--dyn-syms", program],
                           capture_output=True, text=True, check=True).stdout
    is_module = program.suffix == ".so"  # and therefore can be loaded anywhere
    if not re.search(r"Type:\s+DYN", shown) or not (is_module or re.search(r"FLAGS_1.*\bPIE\b", shown)):
        yield "can be loaded at one address only"
    if "GNU_RELRO" not in shown or not re.search(r"FLAGS.*\b(NOW|BIND_NOW)\b", shown):
        yield "has writable tables of functions"
    if not re.search(r"GNU_STACK\s+(\S+\s+){5}RW\s", shown):
        yield "has an executable stack"
    if "__stack_chk_fail" not in shown:
        yield "has unguarded stacks"
    if not is_module and not re.search(r"\s__\w+_chk@", shown):  # a module may have no use for one
        yield "calls no checked function of the C library"


def main(build):
    programs = [path for folder in ("KvnGUIAgent.app/Contents/MacOS", "KvnGUIAgent.app/Contents/PlugIns", "standins")
                if (build / folder).exists() for path in (build / folder).iterdir()
                if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]
    faults = [f"{program} {fault}" for program in programs for fault in faults_of(program)]
    print("\n".join(faults) or f"{len(programs)} programs are hardened")
    return 1 if faults or not programs else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
