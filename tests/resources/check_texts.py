#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails when a text that the user sees is missing, unused, left in English, or damaged in one of the languages."""

import pathlib
import plistlib
import re
import sys
import unicodedata
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
RESOURCES = ROOT / "resources"

# The texts that are the same in English and in these languages.
SAME_AS_ENGLISH = {
    **dict.fromkeys(("Online", "Offline"), "cs de it nl pl pt pt-BR ro sk"),
    **dict.fromkeys(("Server:", "Server"), "cs de it nl ro sk"),
    "Status:": "de nl pt-BR",
    **dict.fromkeys(("Version:", "Name"), "de"),
    "Proxies:": "es pt pt-BR",
    "No": "ca es it",
    "Menu": "fr it nl pl pt pt-BR",
}

ENTRY = re.compile(r'\s*(?:/\*.*?\*/\s*)*"((?:[^"\\\n]|\\.)+)"\s*=\s*"((?:[^"\\\n]|\\.)+)"\s*;\s*', re.DOTALL)
# The code hands keys around before it asks for their texts: a literal that starts as keys do counts as one.
WORD = re.compile(r'"([A-Z][A-Za-z]*(?:_[A-Z]+)*)"')
FAMILY = re.compile("[A-Z]+(?=_)|[A-Z][a-z]+")
# Names on the desktop's bus start as keys do.
DESKTOP_TEXT = re.compile(r'localizedString\("(\w+)"\)')
LAUNCHER_TEXT = re.compile(r"=#(\w+)#$", re.M)
faults = []


def fault(where, text):
    faults.append(f"{where}: {text}")


def collect(where, pairs):
    """Returns a dictionary of the pairs; a key that is there twice is a fault."""
    texts = {}
    for key, text in pairs:
        if key in texts:
            fault(where, f"{key} is there twice")
        texts[key] = text
    return texts


def languages_of_the_product():
    """Returns {Windows id: code}, as the program knows them."""
    header = (ROOT / "basic/WindowsLanguages.h").read_text(encoding="utf-8")
    default = re.search(r'kDefaultLanguage = "(.+?)"', header).group(1)
    return {identifier: code or default
            for identifier, code in re.findall(r'^    \{"(.*?)", (?:"(.+?)"|kDefaultLanguage)\},', header, re.M)}


def read_language_file(codes):
    languages = {language: codes.get(language.get("langKey"), "an unknown langKey")
                 for language in ElementTree.parse(RESOURCES / "language.xml").getroot()}
    return collect("language.xml", ((code, collect(f"language.xml, {code}", (
        (pair.get("key"), pair.get("value")) for pair in language))) for language, code in languages.items()))


def read_string_table(path):
    where = f"{path.parent.name}/{path.name}"
    text, pairs, at = path.read_bytes().decode("utf-8"), [], 0
    while entry := ENTRY.match(text, at):
        pairs.append(entry.groups())
        at = entry.end()
    if at != len(text):
        fault(where, f"not understood from {text[at:at + 40]!r} on")
    return collect(where, pairs)


def read_string_tables(name):
    return {path.parent.stem: read_string_table(path) for path in RESOURCES.glob(f"*.lproj/{name}")}


def mixes_alphabets(word):
    """Latin, Cyrillic and Greek letters look alike and must not stand in one word."""
    return len({unicodedata.name(letter).split()[0] for letter in word} & {"LATIN", "CYRILLIC", "GREEK"}) > 1


def shape(text):
    """The parts that a translation has to keep: placeholders and the end of the text."""
    last = text.replace("：", ":").replace("。", ".")[-1]
    return sorted(re.findall(r"#\w+#|%\S", text)), last if last in ":….#" else ""


def check(where, texts, english, code, same):
    for key in sorted(texts.keys() ^ english.keys()):
        fault(where, f"{key} is {'not in English' if key in texts else 'missing'}")
    for key in sorted(texts.keys() & english.keys()):
        text = texts[key]
        for failed, what in (
                (shape(text) != shape(english[key]), "other placeholders or another end than in English"),
                (text != unicodedata.normalize("NFC", text).strip() or "  " in text,
                 "odd spaces, or letters apart from their accents"),
                (any(map(mixes_alphabets, re.findall(r"[^\W\d_]+", text))), "a word of two alphabets"),
                (re.search("['\"]|\\.\\.\\.", text) or code == "ro" and re.search("[şţŞŢ]", text),
                 "a typewriter's signs, or a cedilla for a comma")):
            if failed:
                fault(where, f"{key} has {what}: {text}")
        if code != "en" and text == english[key]:
            same.setdefault(text, set()).add(code)


def main():
    codes = languages_of_the_product()
    menu = read_language_file(codes)
    tables = read_string_tables("Localizable.strings")
    information = read_string_tables("InfoPlist.strings")
    same = {}
    for name, source in (("language.xml", menu), ("Localizable.strings", tables), ("InfoPlist.strings", information)):
        for code in sorted(set(codes.values()) ^ source.keys(), key=str):
            fault(name, f"{code} is {'missing' if code in codes.values() else 'no language of the product'}")
        for code, texts in source.items():
            check(f"{name}, {code}", texts, source["en"], code, same)
    for text in sorted(same.keys() | SAME_AS_ENGLISH.keys()):
        expected = set(SAME_AS_ENGLISH.get(text, "").split())
        for code in sorted(same.get(text, set()) ^ expected):
            fault(code, f"{text!r} is {'no longer' if code in expected else 'left in'} English")
    folders = ("agent", "basic", "host/terminal", "remote/platform")
    words = {word for folder in folders for path in (ROOT / folder).glob("*.cpp")
             for word in WORD.findall(path.read_text(encoding="utf-8"))}
    words |= {word for path in (ROOT / "host/desktop").glob("*.cpp")
              for word in DESKTOP_TEXT.findall(path.read_text(encoding="utf-8"))}
    words |= set(LAUNCHER_TEXT.findall((RESOURCES / "launcher.desktop.in").read_text(encoding="utf-8")))
    for name, keys in (("language.xml", menu["en"].keys()), ("Localizable.strings", tables["en"].keys())):
        families = {FAMILY.match(key)[0] for key in keys}
        used = {word for word in words if (family := FAMILY.match(word)) and family[0] in families}
        for key in sorted(used ^ keys):
            fault(name, f"{key} is {'not used' if key in keys else 'used and has no text'}")

    # The system asks for the texts of its keys alone, and shows those of the list where a language has none.
    listed = plistlib.loads((RESOURCES / "Info.plist.in").read_bytes())
    for key, text in information["en"].items():
        if listed.get(key) != text:
            fault("InfoPlist.strings", f"the English {key} is not the one in Info.plist.in")

    count = len(menu["en"]) + len(tables["en"]) + len(information["en"])
    print("\n".join(faults) or f"{len(codes)} languages, {count} texts each")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
