# SPDX-License-Identifier: MIT

"""Acts as other users of the machine, for tests of what they can do to the agent of a user. Only root can."""

import multiprocessing
import os
import signal
import sys
import traceback

from programs import starting

# Accounts that every system has, and that own no process.
OWNER = 65534  # nobody; runs the agent
STRANGER = 2  # bin

_fork = multiprocessing.get_context("fork")


def skip_unless_root():
    """Ends the program with a line that says why, unless it may act as other users."""
    if os.geteuid() != 0:
        print("SKIPPED: only root can act as other users")
        sys.exit(0)


class Actor:
    """Runs `act(*arguments)` in a process of the user, and ends it at the end of the scope. `act` is ended by SIGTERM
    if it does not return. A server calls `ready` of its first argument, on which the constructor waits, when it
    listens."""

    def __init__(self, user, act, *arguments, server=False):
        self._results, theirs = _fork.Pipe(duplex=False)
        ready = _fork.Event()
        self._process = _fork.Process(target=self._run, args=(theirs, user, act, ready if server else None, arguments))
        # Not while a program is started: this child would keep open the pipe on which the starter waits until the
        # program is executed.
        with starting:
            self._process.start()
        theirs.close()
        if server and not ready.wait(30):
            self.end()
            raise TimeoutError(f"{act.__name__} of {user} did not begin")

    @staticmethod
    def _run(results, user, act, ready, arguments):
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        os.setgroups([])
        os.setgid(user)
        os.setuid(user)
        try:
            results.send((act(*((ready,) if ready else ()), *arguments), None))
        except OSError as error:
            results.send((None, error))
        except BaseException:
            traceback.print_exc()
            raise

    def result(self, seconds=20):
        """Returns what `act` returned, or raises its OSError."""
        if not self._results.poll(seconds):
            raise TimeoutError("the other user's act did not end")
        value, error = self._results.recv()
        if error:
            raise error
        return value

    def end(self):
        self._process.terminate()
        self._process.join()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()


def as_user(user, act, *arguments):
    """Returns what `act(*arguments)` returns in a process of the user, or raises its OSError."""
    with Actor(user, act, *arguments) as actor:
        return actor.result()
