#!/usr/bin/env python3
# SPDX-License-Identifier: MIT

"""check_options.py PROGRAM: fails unless --help, the manual and the completions of both shells name the same options,
and the same words for them."""

import pathlib
import re
import shlex
import subprocess
import sys

RESOURCES = pathlib.Path(__file__).resolve().parents[2] / "resources"
COMPLETE = """source "$0"; COMP_WORDS=(KvnGUIAgent "$@" ""); COMP_CWORD=$(($# + 1))
_KvnGUIAgent; echo "${COMPREPLY[@]}" """


def words_of(choice):
    """The words that the program takes; none for the name of a value."""
    return tuple(sorted(choice.split("|"))) if "|" in choice else ()


def of_usage(text):
    return {option: words_of(value) for option, value in re.findall(r"\[(--\w+) ?([^]]*)\]", text)}


def without_fonts(line):
    """A line of the manual as it is shown, if it begins with a macro for fonts: one for two fonts joins the words."""
    font = re.fullmatch(r"\.([BIR]{1,2}) (.*)", line)
    return ("" if len(font[1]) == 2 else " ").join(shlex.split(font[2])) if font else line


def of_manual():
    text = (RESOURCES / "KvnGUIAgent.1.in").read_text().replace("\\-", "-")
    sections = re.split(r"(?m)^\.SH ", "\n".join(map(without_fonts, text.splitlines())))
    named = {section.partition("\n")[0]: section for section in sections}
    listed = re.findall(r"\.TP\n(--\w+) ?(.*)", named["OPTIONS"])
    return of_usage(named["SYNOPSIS"].replace("\n", " ")), {option: words_of(value) for option, value in listed}


def in_bash():
    def complete(*words):
        script = RESOURCES / "completion/KvnGUIAgent.bash"
        done = subprocess.run(["bash", "-c", COMPLETE, script, *words], capture_output=True, text=True, check=True,
                              cwd=RESOURCES / "debian")  # which has no folders to complete
        return tuple(sorted(done.stdout.split()))
    return {option: complete(option) if complete(option) != complete() else () for option in complete()}


def in_zsh():
    text = (RESOURCES / "completion/_KvnGUIAgent").read_text()
    return {option: tuple(sorted(words.split())) for option, words in
            re.findall(r"(--\w+)\[[^]]*\](?::[^:']*:(?:\(([^)]*)\)|[^']*))?'", text)}


def main(program):
    shown = subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout
    synopsis, listed = of_manual()
    found = {"--help": of_usage(shown), "the manual's synopsis": synopsis, "the manual's list": listed,
             "the completion of bash": in_bash(), "the completion of zsh": in_zsh()}
    expected = found["--help"]
    differing = [f"{place} has {options}\n--help has {expected}"
                 for place, options in found.items() if options != expected]
    print("\n".join(differing) or f"{len(expected)} options in {len(found)} places")
    return 1 if differing or not expected else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
