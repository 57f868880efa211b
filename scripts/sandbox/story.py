"""Plays the steps of a story, each of which says what it has seen or what differs."""


class Differs(Exception):
    """What was found in place of what the story tells."""


def expect(condition, difference):
    if not condition:
        raise Differs(difference)
    return condition


def play(box, steps):
    """Prints a line for each step; the exit status of the whole."""
    for step in steps:
        try:
            print("ok  ", step(), flush=True)
        except Differs as difference:
            print("FAIL", f"{step.__name__}: {difference}", flush=True)
            for name, heard in (("daemon", box.daemon), ("helper", box.helper_log), ("agent", box.agent),
                                ("log", box.log)):
                for text in heard.record.tail(15) if heard else ():
                    print(f"     {name:<7}| {text}")
            return 1
    return 0
