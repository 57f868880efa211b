# SPDX-License-Identifier: MIT

"""Servers that share no code with the product: sockets and regular expressions."""

import re
import selectors
import socket
import threading

from record import Record

CLIENT = "Kvn30RemoteClient"
ELEMENT = re.compile(rb"<(\w+)[^>]*?(?:/>|></\1>)")
IDENTIFIER = re.compile(rb' RequestData="(\d+)"')
# In place of bytes that are sent:
HANG_UP = object()  # the connection is closed
RETIRE = object()  # nobody else can connect any more


class WireServer:
    """Serves a socket on one thread. `greeting` is sent to a peer that connects, and what a subclass gives from
    `react` to one that has sent something."""

    def __init__(self, path, greeting=()):
        self.greeting = greeting
        self.record = Record()  # every delivery as text, with its time
        self.connections = 0  # how many were made
        self._peers = set()
        self._selector = selectors.DefaultSelector()
        self._lock = threading.Lock()
        self._ending = False
        path.parent.mkdir(parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(str(path))
        self._listener.listen(5)
        self._selector.register(self._listener, selectors.EVENT_READ, self._accept)
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def push(self, data):
        """Sends bytes to every peer."""
        with self._lock:
            for peer in list(self._peers):
                self._send(peer, [data])

    @property
    def connected(self):
        with self._lock:
            return len(self._peers)

    def die(self):
        """Closes everything; the socket files stay, as after a crash."""
        with self._lock:
            self._ending = True
            self._close(*self._peers, self._listener)
        self._thread.join()
        self._selector.close()

    def _serve(self):
        while not self._ending:
            for key, _ in self._selector.select(0.02):
                with self._lock:
                    if key.fileobj.fileno() >= 0:  # not closed meanwhile
                        key.data(key.fileobj)

    def _accept(self, listener):
        peer = listener.accept()[0]
        self.connections += 1
        self._peers.add(peer)
        self._selector.register(peer, selectors.EVENT_READ, self._read)
        self._send(peer, self.greeting)

    def _read(self, peer):
        try:
            data = peer.recv(65536)
        except OSError:
            data = b""
        if data:
            self.record.add(data.decode())
            self._send(peer, self.react(peer, data))
        else:
            self._send(peer, [HANG_UP])

    def _send(self, peer, steps):
        for step in steps:
            if step is RETIRE:
                self._close(self._listener)
            elif step is HANG_UP:
                self._close(peer)
            else:
                try:
                    peer.sendall(step)
                except OSError:
                    self._close(peer)

    def _close(self, *ends):
        for end in ends:
            if end.fileno() >= 0:
                self._selector.unregister(end)
                end.close()
        self._peers.difference_update(ends)


def answer_all(tag, identifier):
    """The answers of a service that accepts everything to an element."""
    if tag == b"GetStatus":
        return [b'<Status Value="online" RequestData="%d" Server="relay" Version="1"/>' % identifier]
    if tag in (b"RegisterAgent", b"UnregisterAgent") and identifier:
        return [b'<RequestResult RequestData="%d" StatusCode="0"/>' % identifier]
    return []


class WireDaemon(WireServer):
    """The service daemon: serves the agents' pipe below a root."""

    def __init__(self, box, answer=answer_all, greeting=()):
        self.answer = answer
        super().__init__(box.pipes / CLIENT, greeting)

    def react(self, peer, data):
        for element in ELEMENT.finditer(data):
            identifier = IDENTIFIER.search(element.group(0))
            yield from self.answer(element.group(1), int(identifier.group(1)) if identifier else 0)
